// Replays fuzz inputs without libFuzzer: every file named on the command line, and every file
// in a folder named there, goes once through LLVMFuzzerTestOneInput. Linked with a fuzz target's
// source into an ordinary test executable, so CTest runs the seeds and the saved findings of
// fuzz/bridge/ in every build (a failed check aborts, which fails the test).
#include <dirent.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

void collect(const std::string& path, std::vector<std::string>& files) {
  struct stat info;
  if (stat(path.c_str(), &info) != 0) {
    std::fprintf(stderr, "replay: %s not found\n", path.c_str());
    return;
  }
  if (!S_ISDIR(info.st_mode)) {
    files.push_back(path);
    return;
  }
  DIR* dir = opendir(path.c_str());
  if (dir == nullptr) return;
  while (dirent* entry = readdir(dir)) {
    const std::string name = entry->d_name;
    if (name == "." || name == ".." || (name.size() > 3 && name.rfind(".md") == name.size() - 3)) {
      continue;
    }
    collect(path + "/" + name, files);
  }
  closedir(dir);
}

}  // namespace

int main(int argc, char** argv) {
  LLVMFuzzerInitialize(&argc, &argv);
  std::vector<std::string> files;
  for (int i = 1; i < argc; ++i) collect(argv[i], files);
  for (const std::string& file : files) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("replay: %zu inputs, all checks passed\n", files.size());
  return files.empty() ? 1 : 0;
}
