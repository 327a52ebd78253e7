// Runs a fuzz target's entry point on saved inputs, without libFuzzer. The
// test suite replays every target's corpus this way in each build flavour, so
// that the targets keep building with the project's own compiler and the
// inputs that once broke something keep being tried under the sanitizers.
//
//   <target>_replay FILE_OR_FOLDER...
//
// Each input is handed over in a buffer of exactly its size, as libFuzzer
// does, so a read past its end is caught. A target aborts when an invariant
// breaks; otherwise the exit status is 0 when at least one input ran, 1 when
// there was none (an empty corpus tests nothing) and 2 when a path cannot be
// read.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
// Defined only by the targets that set something up once.
extern "C" [[gnu::weak]] int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

namespace fs = std::filesystem;

// The files named, and those directly inside the folders named, in name order.
bool collect(int argc, char** argv, std::vector<fs::path>& inputs) {
  for (int i = 1; i < argc; ++i) {
    const fs::path path(argv[i]);
    std::error_code error;
    if (fs::is_directory(path, error)) {
      std::vector<fs::path> files;
      for (const auto& entry : fs::directory_iterator(path, error)) {
        if (entry.is_regular_file(error)) files.push_back(entry.path());
      }
      std::sort(files.begin(), files.end());
      inputs.insert(inputs.end(), files.begin(), files.end());
    } else if (fs::is_regular_file(path, error)) {
      inputs.push_back(path);
    } else {
      std::fprintf(stderr, "%s: no such file or folder\n", argv[i]);
      return false;
    }
    if (error) {
      std::fprintf(stderr, "%s: %s\n", argv[i], error.message().c_str());
      return false;
    }
  }
  return true;
}

bool replay(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) {
    std::fprintf(stderr, "%s: cannot be read\n", path.c_str());
    return false;
  }
  const auto exact = std::make_unique<std::uint8_t[]>(bytes.size());
  std::copy(bytes.begin(), bytes.end(), exact.get());
  LLVMFuzzerTestOneInput(exact.get(), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s FILE_OR_FOLDER...\n", argv[0]);
    return 2;
  }
  std::vector<fs::path> inputs;
  if (!collect(argc, argv, inputs)) return 2;
  if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argc, &argv);
  for (const auto& path : inputs) {
    if (!replay(path)) return 2;
  }
  std::printf("%zu inputs replayed\n", inputs.size());
  return inputs.empty() ? 1 : 0;
}
