// Writes the seed inputs of the model fuzz target into a directory:
//   tessarel_model_fuzz_seeds fuzz/corpus
// Each seed is a status byte followed by one encoded companion message.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/value_set_bytes.h"
#include "support/value_set_builders.h"

using namespace tessarel;
using namespace tessarel::testing;

namespace {

void Write(const std::filesystem::path& directory, const std::string& name, std::uint8_t status,
           const ValueSet& message) {
  fuzzing::ValueSetEncoder encoder;
  encoder.EncodeSet(message);
  std::ofstream out(directory / name, std::ios::binary);
  out.put(static_cast<char>(status));
  out.write(reinterpret_cast<const char*>(encoder.bytes.data()),
            static_cast<std::streamsize>(encoder.bytes.size()));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s DIRECTORY\n", argv[0]);
    return 2;
  }
  const std::filesystem::path directory(argv[1]);
  std::filesystem::create_directories(directory);

  const ValueSet small = KeyboardShape{1, 1, 1, 2}.Build();
  const ValueSet larger = KeyboardShape{2, 2, 2, 3}.Build();
  Write(directory, "empty", 0, ValueSet{});
  Write(directory, "keyboard-list", 0, With(small, "result", U32(3)));
  Write(directory, "keyboards-reply", 0,
        Set({{"keyboards", Nested(larger)}, {"result", Bool(true)}}));
  Write(directory, "failed-status", 1, Set({{"keyboards", Nested(small)}, {"result", U32(7)}}));
  Write(directory, "string-result", 0, Set({{"result", Str("/tmp/firmware.bin")}}));
  Write(directory, "holes", 0,
        ListWithCount(
            3, {{0, Nested(Keyboard(
                        "a", ListWithCount(
                                 2, {{1, Nested(Layer(1, ListWithCount(2, {{1, Str("x")}})))}})))},
                {2, I32(1)}}));
  Write(directory, "bad-key", 0,
        List({Nested(Keyboard(
            "a", List({Nested(
                     Layer(0, List({Nested(List({Nested(Without(FullKey(), "sizeY"))}))})))})))}));
  Write(directory, "wide-counts", 0, List({Nested(Keyboard("a", ListWithCount(4096, {})))}));
  Write(directory, "forged-count", 2, ListWithCount(UINT32_MAX, {{0, Nested(small)}}));
  std::printf("seeds written to %s\n", directory.c_str());
  return 0;
}
