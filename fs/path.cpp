#include "fs/path.h"

#include <cstring>
#include <utility>

namespace fs {

const char Path::kNativeSeparator[] = "/";
const char Path::kForeignSeparator[] = "/";

namespace {

bool isSeparator(char c) {
  return c == '/' || c == '\\';
}

// Replaces every occurrence of `from` by `to`, scanning left to right; a replacement is never
// rescanned, so the loop ends even when `to` contains `from`.
void replaceAll(std::string& text, const std::string& from, const std::string& to) {
  if (from.empty()) return;
  std::string::size_type pos = 0;
  while ((pos = text.find(from, pos)) != std::string::npos) {
    text.replace(pos, from.size(), to);
    pos += to.size();
  }
}

}  // namespace

Path::Path(const std::string& text) : text_(text) {
  if (!text_.empty() && isSeparator(text_.back())) text_.pop_back();
  // Both separators are "/" here; the comparison keeps the rule honest on a platform where they
  // differ, and skips the scan where they do not.
  if (std::strcmp(kForeignSeparator, kNativeSeparator) != 0) {
    replaceAll(text_, kForeignSeparator, kNativeSeparator);
  }
}

Path::Path(const char* text) : Path(std::string(text != nullptr ? text : "")) {}

Path Path::verbatim(std::string text) {
  Path path;
  path.text_ = std::move(text);
  return path;
}

Path Path::join(const std::string& part) const {
  std::string text = text_;
  text += kNativeSeparator;
  if (!part.empty() && isSeparator(part.front())) {
    text.append(part, 1, std::string::npos);
  } else {
    text += part;
  }
  return Path(text);
}

}  // namespace fs
