#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace norvane::console::shared {

/// A shared object that is made when it is first used, and again when it is used after its release.
template <class T>
class OnFirstUse {
 public:
  explicit OnFirstUse(std::function<std::shared_ptr<T>()> make) : m_make(std::move(make)) {}
  OnFirstUse& operator=(std::shared_ptr<T> object) {
    m_object = std::move(object);
    return *this;
  }

  [[nodiscard]] T& operator*() {
    if (!m_object) m_object = m_make();
    return *m_object;
  }
  [[nodiscard]] T* operator->() { return &**this; }
  void Release() { m_object.reset(); }

 private:
  std::function<std::shared_ptr<T>()> m_make;
  std::shared_ptr<T> m_object;
};

}  // namespace norvane::console::shared
