// Runs the fuzz target over saved inputs without libFuzzer, so that the
// corpus is replayed by every normal and sanitizer test run:
//   tessarel_model_fuzz_replay fuzz/corpus [more files or directories]
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

int Replay(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                std::istreambuf_iterator<char>());
  if (!in.good() && !in.eof()) {
    std::fprintf(stderr, "cannot read %s\n", file.c_str());
    return 1;
  }
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  int inputs = 0;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path path(argv[i]);
    if (std::filesystem::is_directory(path)) {
      for (const auto& entry : std::filesystem::directory_iterator(path)) {
        if (!entry.is_regular_file()) continue;
        if (Replay(entry.path()) != 0) return 1;
        ++inputs;
      }
    } else {
      if (Replay(path) != 0) return 1;
      ++inputs;
    }
  }
  std::printf("replayed %d inputs\n", inputs);
  return inputs > 0 ? 0 : 1;
}
