// Which file a request path names inside a served folder, and what type it is.
//
// Design note
// -----------
// Both hosts serve a page's folder and the client modules: the browser host over HTTP, the
// desktop view under its own URL scheme. One policy decides for both:
//   - A path (already percent-decoded) is resolved inside one folder only. A ".." segment or a
//     control byte is refused before anything touches the file system, and the real path
//     (symbolic links followed) must still lie inside the folder's real path, so neither an
//     encoded ".." nor a link pointing outside can leave it. A link that stays inside is served.
//   - A directory serves its index.html. A directory asked for without its trailing slash is
//     answered with the canonical path to redirect to: always one leading '/', never "//", so a
//     redirect can never name another host.
//   - Only regular files are served.
// The MIME table knows the common web types; anything else is application/octet-stream, which
// browsers never run as script or style.
//
// Threads: stateless; any thread.
#ifndef ZARVO_HOST_CORE_STATIC_FILES_H
#define ZARVO_HOST_CORE_STATIC_FILES_H

#include <string>
#include <string_view>

#include "host_core/host_error.h"

namespace host_core {

// The Content-Type for a file name, by its extension (case-insensitive); text types carry
// "; charset=utf-8".
std::string contentTypeFor(std::string_view fileName);

struct FileLookup {
  enum class Kind {
    kFile,      // `file` is the real path of a regular file inside the folder
    kRedirect,  // a directory without its trailing slash: redirect to `location`
    kMissing,   // 404: `error` says "no file at '<path>'" or "path '<path>' leaves the served
                // folder"
  };
  Kind kind = Kind::kMissing;
  std::string file;
  std::string location;
  HostError error;
};

// Resolves `relative` (the part of the request path below the folder's mount point) inside
// `root`. `requestPath` is the whole request path, for messages and redirects; `mount` is the
// folder's mount point ("/" or e.g. "/zarvo/").
FileLookup lookUpFile(const std::string& root, const std::string& mount,
                      const std::string& relative, const std::string& requestPath);

// The two folders of a host: the page at '/', the client modules at '/zarvo/'.
class StaticFiles {
 public:
  StaticFiles(std::string pageRoot, std::string moduleRoot);
  FileLookup lookUp(const std::string& requestPath) const;
  const std::string& pageRoot() const { return pageRoot_; }
  const std::string& moduleRoot() const { return moduleRoot_; }

 private:
  std::string pageRoot_;
  std::string moduleRoot_;
};

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_STATIC_FILES_H
