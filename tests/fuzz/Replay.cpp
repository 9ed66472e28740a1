// Feeds a fuzzer's corpus to it, for compilers without libFuzzer. Arguments: folders.

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "tests/fuzz/Fuzzer.h"
#include "tests/support/Files.h"

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> inputs;
  for (int i = 1; i < argc; ++i)
    for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
      inputs.push_back(entry.path());
  std::sort(inputs.begin(), inputs.end());
  for (const auto& path : inputs) {
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);  // so that the last line names the input that crashes
    const auto bytes = norvane::tests::ReadFile(path.string());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  return inputs.empty() ? 1 : 0;
}
