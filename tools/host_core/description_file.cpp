#include "host_core/description_file.h"

#include <fstream>
#include <sstream>

#include "zarvo_simulator.h"

namespace host_core {

bool loadDescription(const std::string& path, std::string* text, std::string* problem) {
  char error[4096] = {0};
  if (ZrvSimLoadDescription(path.c_str(), error, sizeof error) == 0) {
    *problem = error[0] != '\0' ? error : path + ": cannot load the application description";
    return false;
  }
  std::ifstream in(path, std::ios::in | std::ios::binary);
  std::ostringstream content;
  if (in) content << in.rdbuf();
  *text = content.str();
  return true;
}

}  // namespace host_core
