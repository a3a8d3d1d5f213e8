#include "messages.h"

#include <cstdio>

namespace zarvo_view {

void problem(const std::string& text) {
  std::fprintf(stderr, "zarvo_view: %s\n", text.c_str());
  std::fflush(stderr);
}

}  // namespace zarvo_view
