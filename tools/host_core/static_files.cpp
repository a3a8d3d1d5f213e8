#include "host_core/static_files.h"

#include <sys/stat.h>

#include <cstdlib>
#include <utility>

namespace host_core {
namespace {

// The real path of `path`, or empty when it does not exist.
std::string realPath(const std::string& path) {
  char* resolved = ::realpath(path.c_str(), nullptr);
  if (resolved == nullptr) return std::string();
  std::string out(resolved);
  std::free(resolved);  // NOLINT(cppcoreguidelines-no-malloc): realpath allocates with malloc
  return out;
}

// Joins the segments of `relative` with single slashes, dropping empty and "." segments; false
// for a ".." segment or a control byte (NUL, CR, LF ...).
bool safeSegments(const std::string& relative, std::string* joined) {
  for (const char c : relative) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) return false;
  }
  std::string out;
  size_t start = 0;
  while (start <= relative.size()) {
    size_t end = relative.find('/', start);
    if (end == std::string::npos) end = relative.size();
    const std::string segment = relative.substr(start, end - start);
    if (segment == "..") return false;
    if (!segment.empty() && segment != ".") {
      if (!out.empty()) out += '/';
      out += segment;
    }
    start = end + 1;
  }
  *joined = std::move(out);
  return true;
}

bool inside(const std::string& file, const std::string& realRoot) {
  return !file.empty() &&
         (file == realRoot || file.compare(0, realRoot.size() + 1, realRoot + "/") == 0);
}

bool isDirectory(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool isRegularFile(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

FileLookup missing(const std::string& requestPath) {
  FileLookup out;
  out.error = notFound("no file at '" + requestPath + "'");
  return out;
}

FileLookup outside(const std::string& requestPath) {
  FileLookup out;
  out.error = notFound("path '" + requestPath + "' leaves the served folder");
  return out;
}

}  // namespace

std::string contentTypeFor(std::string_view fileName) {
  static const std::pair<const char*, const char*> kTypes[] = {
      {"html", "text/html; charset=utf-8"},
      {"htm", "text/html; charset=utf-8"},
      {"js", "text/javascript; charset=utf-8"},
      {"mjs", "text/javascript; charset=utf-8"},
      {"css", "text/css; charset=utf-8"},
      {"json", "application/json; charset=utf-8"},
      {"map", "application/json; charset=utf-8"},
      {"svg", "image/svg+xml; charset=utf-8"},
      {"png", "image/png"},
      {"jpg", "image/jpeg"},
      {"jpeg", "image/jpeg"},
      {"gif", "image/gif"},
      {"webp", "image/webp"},
      {"ico", "image/x-icon"},
      {"woff", "font/woff"},
      {"woff2", "font/woff2"},
      {"wasm", "application/wasm"},
      {"txt", "text/plain; charset=utf-8"},
      {"ts", "text/plain; charset=utf-8"},
  };
  const size_t dot = fileName.rfind('.');
  const size_t slash = fileName.rfind('/');
  if (dot == std::string_view::npos || (slash != std::string_view::npos && dot < slash)) {
    return "application/octet-stream";
  }
  std::string extension(fileName.substr(dot + 1));
  for (char& c : extension) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  for (const auto& [known, type] : kTypes) {
    if (extension == known) return type;
  }
  return "application/octet-stream";
}

FileLookup lookUpFile(const std::string& root, const std::string& mount,
                      const std::string& relative, const std::string& requestPath) {
  std::string joined;
  if (!safeSegments(relative, &joined)) return outside(requestPath);
  const std::string realRoot = realPath(root);
  if (realRoot.empty()) return missing(requestPath);
  std::string file = realPath(joined.empty() ? root : root + "/" + joined);
  if (file.empty()) return missing(requestPath);
  if (inside(file, realRoot) && isDirectory(file)) {
    if (requestPath.empty() || requestPath.back() != '/') {
      FileLookup out;
      out.kind = FileLookup::Kind::kRedirect;
      out.location = mount + (joined.empty() ? "" : joined + "/");
      return out;
    }
    file = realPath(file + "/index.html");
    if (file.empty()) return missing(requestPath);
  }
  if (!inside(file, realRoot)) return outside(requestPath);
  if (!isRegularFile(file)) return missing(requestPath);
  FileLookup out;
  out.kind = FileLookup::Kind::kFile;
  out.file = std::move(file);
  return out;
}

StaticFiles::StaticFiles(std::string pageRoot, std::string moduleRoot)
    : pageRoot_(std::move(pageRoot)), moduleRoot_(std::move(moduleRoot)) {}

FileLookup StaticFiles::lookUp(const std::string& requestPath) const {
  static const std::string kModules = "/zarvo/";
  if (requestPath.compare(0, kModules.size(), kModules) == 0) {
    return lookUpFile(moduleRoot_, kModules, requestPath.substr(kModules.size()), requestPath);
  }
  return lookUpFile(pageRoot_, "/", requestPath, requestPath);
}

}  // namespace host_core
