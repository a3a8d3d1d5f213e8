// Loading the plug-in file and resolving its five entry points.
//
// Design note
// -----------
// The host opens the plug-in with dlopen, exactly as a web-view host would, instead of linking
// it: that way the tool exercises the shipped file and its exported symbols, and --plugin can
// point it at any build. The plug-in's own dependencies (the host library and the application
// library) resolve by soname to the copies this executable already has loaded, so the sinks and
// the application description set up here are the ones the plug-in talks to.
//
// Ownership: a loaded plug-in is never unloaded. Application threads may still hold callback
// addresses inside it until the process ends, and unloading buys nothing for a one-shot tool.
// Threads: load once on the main thread; the resolved pointers may then be called from it.
// Failure: `load` returns false with a message naming the file and the missing symbol.
#ifndef ZARVO_HOST_PLUGIN_H
#define ZARVO_HOST_PLUGIN_H

#include <string>

namespace zarvo_host {

// The signature shared by the four resource entry points: options, parameters, extra, body.
using ResourceFunction = int (*)(const char*, const char*, const char*, const char*);
using TearDownFunction = void (*)();

class Plugin {
 public:
  // Opens `path` (RTLD_NOW, so unresolved symbols fail here) and resolves the five entry points.
  // False with `error` set when the file cannot be opened or any entry point is missing.
  bool load(const std::string& path, std::string* error);
  // The entry point of `resource`, or null when the name is not one of the four resources.
  ResourceFunction resource(const std::string& resource) const;
  // The plug-in's TearDown; null before a successful load.
  TearDownFunction tearDown() const { return tearDown_; }
  // The path that was loaded.
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  ResourceFunction application_ = nullptr;
  ResourceFunction bridge_ = nullptr;
  ResourceFunction event_ = nullptr;
  ResourceFunction custom_ = nullptr;
  TearDownFunction tearDown_ = nullptr;
};

}  // namespace zarvo_host

#endif  // ZARVO_HOST_PLUGIN_H
