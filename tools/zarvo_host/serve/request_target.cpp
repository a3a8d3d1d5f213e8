#include "serve/request_target.h"

namespace zarvo_host::serve {
namespace {

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

bool percentDecode(std::string_view text, bool plusIsBlank, std::string* out) {
  std::string decoded;
  decoded.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '+' && plusIsBlank) {
      decoded += ' ';
    } else if (c != '%') {
      decoded += c;
    } else {
      const int high = i + 2 < text.size() ? hexValue(text[i + 1]) : -1;
      const int low = high >= 0 ? hexValue(text[i + 2]) : -1;
      if (low < 0) return false;
      decoded += static_cast<char>(high * 16 + low);
      i += 2;
    }
  }
  *out = std::move(decoded);
  return true;
}

bool parseRequestTarget(std::string_view target, RequestTarget* out) {
  if (target.empty() || target.front() != '/') return false;
  const size_t question = target.find('?');
  RequestTarget parsed;
  if (!percentDecode(target.substr(0, question), false, &parsed.path)) return false;
  if (question != std::string_view::npos) parsed.query = std::string(target.substr(question + 1));
  *out = std::move(parsed);
  return true;
}

std::optional<std::string> queryValue(std::string_view query, std::string_view name) {
  size_t start = 0;
  while (start <= query.size()) {
    size_t end = query.find('&', start);
    if (end == std::string_view::npos) end = query.size();
    const std::string_view pair = query.substr(start, end - start);
    const size_t equals = pair.find('=');
    std::string key;
    if (percentDecode(pair.substr(0, equals), true, &key) && key == name) {
      std::string value;
      const std::string_view raw =
          equals == std::string_view::npos ? std::string_view() : pair.substr(equals + 1);
      if (!percentDecode(raw, true, &value)) return std::nullopt;
      return value;
    }
    start = end + 1;
  }
  return std::nullopt;
}

}  // namespace zarvo_host::serve
