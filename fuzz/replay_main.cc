// Runs a fuzz target's entry point once for every file under the folders and files given on
// the command line, in a build without libFuzzer. The regular test builds (gcc, ASan, TSan)
// replay each target's seed corpus with it, so a target that no longer compiles, or an input
// that once passed and now fails, shows in the ordinary test run.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> inputsUnder(const std::filesystem::path& path) {
  std::vector<std::filesystem::path> inputs;
  if (std::filesystem::is_directory(path)) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(path)) {
      if (entry.is_regular_file()) inputs.push_back(entry.path());
    }
  } else {
    inputs.push_back(path);
  }
  return inputs;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> inputs;
  for (int i = 1; i < argc; ++i) {
    for (auto& input : inputsUnder(argv[i])) inputs.push_back(std::move(input));
  }
  if (inputs.empty()) {
    std::fprintf(stderr, "usage: %s <corpus folder or input file>...\n", argv[0]);
    return 2;
  }
  for (const auto& input : inputs) {
    std::ifstream file(input, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    if (!file.good() && !file.eof()) {
      std::fprintf(stderr, "cannot read %s\n", input.c_str());
      return 2;
    }
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("replayed %zu inputs\n", inputs.size());
  return 0;
}
