// Replays inputs through a fuzz target without the fuzzing engine, so that past failures are retested with
// every compiler. Each argument is an input or a folder of inputs.

#include "Fuzz/Target.hpp"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

int main(int count, char** arguments) {
  namespace fs = std::filesystem;
  std::vector<fs::path> inputs;
  for (int i = 1; i < count; ++i) {
    if (fs::is_directory(arguments[i])) {
      for (const auto& entry : fs::directory_iterator(arguments[i])) inputs.push_back(entry.path());
    } else if (fs::exists(arguments[i])) {
      inputs.emplace_back(arguments[i]);
    }
  }
  std::sort(inputs.begin(), inputs.end());
  for (const fs::path& path : inputs) {
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);  // if the process ends, the last line names the input
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  if (inputs.empty()) {
    std::printf("no inputs\n");
    return 1;
  }
  return 0;
}
