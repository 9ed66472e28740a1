#include "platform/Registry.h"

namespace norvane::platform {

namespace {
class NoRegistry : public Registry {
 public:
  std::unique_ptr<RegistryKey> Open(std::uint32_t, const std::string&, std::uint32_t) const override {
    return nullptr;
  }
};
}  // namespace

const Registry& SystemRegistry() {
  static const NoRegistry registry;
  return registry;
}

}  // namespace norvane::platform
