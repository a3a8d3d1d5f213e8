#include "serve/static_files.h"

#include <sys/stat.h>

#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

#include "serve/host_answer.h"

namespace zarvo_host::serve {
namespace {

// The real path of `path`, or empty when it does not exist.
std::string realPath(const std::string& path) {
  char* resolved = ::realpath(path.c_str(), nullptr);
  if (resolved == nullptr) return std::string();
  std::string out(resolved);
  std::free(resolved);  // NOLINT(cppcoreguidelines-no-malloc): realpath allocates with malloc
  return out;
}

// Joins the segments of `relative`; false for a ".." segment or a control byte (NUL, CR, LF ...).
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
  *joined = out;
  return true;
}

bool inside(const std::string& file, const std::string& realRoot) {
  return !file.empty() &&
         (file == realRoot || file.compare(0, realRoot.size() + 1, realRoot + "/") == 0);
}

void notFound(httplib::Response& res, const std::string& path) {
  setHostError(res, 404, kNotFound, "no file at '" + path + "'");
}

}  // namespace

std::string contentTypeFor(const std::string& fileName) {
  const size_t dot = fileName.rfind('.');
  const size_t slash = fileName.rfind('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) {
    return "application/octet-stream";
  }
  const std::string ext = fileName.substr(dot + 1);
  if (ext == "html") return "text/html; charset=utf-8";
  if (ext == "js" || ext == "mjs") return "text/javascript; charset=utf-8";
  if (ext == "css") return "text/css; charset=utf-8";
  if (ext == "json") return "application/json; charset=utf-8";
  if (ext == "svg") return "image/svg+xml; charset=utf-8";
  if (ext == "png") return "image/png";
  if (ext == "ts") return "text/plain; charset=utf-8";
  return "application/octet-stream";
}

void StaticFiles::serve(const std::string& path, httplib::Response& res) const {
  const std::string modulePrefix = "/zarvo/";
  if (path.compare(0, modulePrefix.size(), modulePrefix) == 0) {
    serveFrom(moduleRoot_, path.substr(modulePrefix.size()), path, res);
  } else {
    serveFrom(pageRoot_, path, path, res);
  }
}

void StaticFiles::serveFrom(const std::string& root, const std::string& relative,
                            const std::string& path, httplib::Response& res) const {
  std::string joined;
  if (!safeSegments(relative, &joined)) {
    setHostError(res, 404, kNotFound, "path '" + path + "' leaves the served folder");
    return;
  }
  const std::string realRoot = realPath(root);
  if (realRoot.empty()) {
    notFound(res, path);
    return;
  }
  std::string file = realPath(joined.empty() ? root : root + "/" + joined);
  if (file.empty()) {
    notFound(res, path);
    return;
  }
  struct stat info {};
  if (inside(file, realRoot) && ::stat(file.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) {
    if (path.empty() || path.back() != '/') {
      res.status = 301;
      res.set_header("Location", path + "/");
      return;
    }
    file = realPath(file + "/index.html");
  }
  if (!inside(file, realRoot)) {
    if (!file.empty()) {
      setHostError(res, 404, kNotFound, "path '" + path + "' leaves the served folder");
    } else {
      notFound(res, path);
    }
    return;
  }
  if (::stat(file.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) {
    notFound(res, path);
    return;
  }
  std::ifstream in(file, std::ios::in | std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  if (!in) {
    notFound(res, path);
    return;
  }
  res.status = 200;
  res.set_content(content.str(), contentTypeFor(file));
}

}  // namespace zarvo_host::serve
