#include "demo/DemoFolder.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "console/engine/EngineError.h"
#include "link/EngineClient.h"
#include "platform/FileNames.h"
#include "platform/Paths.h"

namespace norvane::demo {

namespace fs = std::filesystem;
using console::engine::EngineError;
using console::engine::EngineErrorCode;

DemoFolder::DemoFolder(const std::string& path, const std::string& programs) : m_path(fs::absolute(path)) {
  EndEngine();
  fs::remove_all(m_path);
  if (const auto error = platform::MakeFolder(m_path)) throw std::system_error(error, m_path);
  for (const std::string& from : {programs, std::string(NORVANE_HELP)}) {
    if (!fs::exists(from)) continue;
    for (const auto& file : fs::directory_iterator(from))
      fs::create_symlink(fs::canonical(file), fs::path(m_path) / file.path().filename());
  }
}

DemoFolder::~DemoFolder() {
  try {
    EndEngine();
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "norvane_demo: the engine in %s does not end: %s\n", m_path.c_str(), failure.what());
  }
}

void DemoFolder::Write(const std::string& name, const std::string& content) const {
  std::ofstream file(*this / name);
  if (!(file << content).flush()) throw std::system_error(errno, std::generic_category(), *this / name);
}

void DemoFolder::EndEngine() const {
  if (!fs::exists(platform::PathIn(m_path, platform::files::EngineSocket))) return;
  try {
    link::EngineClient engine({.folder = m_path, .startEngine = {}});
    console::engine::OpenGate(engine);
    engine.Shutdown(false);
  } catch (const EngineError& failure) {
    if (failure.Code() != EngineErrorCode::Gone) throw;  // nobody is there
  }
}

}  // namespace norvane::demo
