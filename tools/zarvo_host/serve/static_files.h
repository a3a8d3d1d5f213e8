// Static files: the client module under /zarvo/ and the page (or the console) at /.
//
// Design note
// -----------
// A request path (already percent-decoded by the HTTP library) is resolved inside one folder
// only: ".." segments are refused before anything touches the file system, and the resolved
// real path (symbolic links followed) must still lie inside the folder's real path, so neither
// "%2e%2e" nor a link pointing outside can leave it. A directory serves its index.html; a
// directory asked for without its trailing slash is redirected to it, so the page's relative
// links resolve. Only regular files are served.
//
// Threads: stateless apart from the folder names; any thread.
#ifndef ZARVO_HOST_SERVE_STATIC_FILES_H
#define ZARVO_HOST_SERVE_STATIC_FILES_H

#include <httplib.h>

#include <string>

namespace zarvo_host::serve {

// The Content-Type for a file name, by its extension.
std::string contentTypeFor(const std::string& fileName);

class StaticFiles {
 public:
  // `pageRoot` serves '/', `moduleRoot` serves '/zarvo/'.
  StaticFiles(std::string pageRoot, std::string moduleRoot)
      : pageRoot_(std::move(pageRoot)), moduleRoot_(std::move(moduleRoot)) {}

  // Answers GET/HEAD of `path`: the file, a redirect, or a 404 host error.
  void serve(const std::string& path, httplib::Response& res) const;

 private:
  void serveFrom(const std::string& root, const std::string& relative, const std::string& path,
                 httplib::Response& res) const;

  std::string pageRoot_;
  std::string moduleRoot_;
};

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_STATIC_FILES_H
