// Runs the target with every file of a directory, and with every prefix of each file.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz.h"

int main(int, char** arguments) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(arguments[1])) {
    std::fprintf(stderr, "%d %s\n", ++files, entry.path().string().c_str());
    std::ifstream file(entry.path(), std::ios::binary);
    const orla::RWCString bytes{std::istreambuf_iterator<char>(file), {}};
    for (std::size_t size = 0; size <= bytes.size(); ++size) orla::fuzz(bytes.substr(0, size));
  }
  return files == 0 ? 1 : 0;
}
