#include "fs/client_name.h"

#include "fs/standard_directories.h"

namespace fs {

std::string client_name_of(const std::string& executablePath) {
  // A separator or dot at position 0 counts as not found; this is kept on purpose, so "/viewer"
  // has no file name and ".hidden" has no extension.
  const std::string::size_type slash = executablePath.rfind('/');
  std::string fileName;
  if (slash != std::string::npos && slash != 0) {
    fileName = executablePath.substr(slash + 1);
  }
  const std::string::size_type dot = fileName.rfind('.');
  if (dot == std::string::npos || dot == 0) {
    return fileName;
  }
  return fileName.substr(0, dot);
}

std::string client_name() {
  return client_name_of(executable_path().text());
}

}  // namespace fs
