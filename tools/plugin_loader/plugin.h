// Loading the plug-in file and resolving its five entry points, for the two reference hosts
// (zarvo_host and zarvo_view).
//
// Design note
// -----------
// A host opens the plug-in with dlopen, exactly as a web-view host would, instead of linking
// it: that way the tools exercise the shipped file and its exported symbols, and --plugin can
// point them at any build. The plug-in's own dependencies (the host library and the application
// library) resolve by soname to the copies this executable already has loaded, so the sinks and
// the application description set up here are the ones the plug-in talks to.
//
// Ownership: zarvo_host's session modes never unload the plug-in: application threads may still
// hold callback addresses inside it until the process ends, and unloading buys nothing for a
// one-shot tool. zarvo_host serve and zarvo_view unload it explicitly with `unload`, and only once
// nothing can call into it any more: after TearDown has closed every connection (the application
// library makes no callback for a connection after its disconnect has returned) and after the host
// library's sinks have been removed. Destroying a Plugin does not unload it. Threads: load once;
// the resolved pointers may then be called from the thread the host chose for the plug-in (one at a
// time). `unload` runs when no thread uses them any more. Failure: `load` returns false with a
// message naming the file and the missing symbol.
#ifndef ZARVO_TOOLS_PLUGIN_H
#define ZARVO_TOOLS_PLUGIN_H

#include <string>

namespace zarvo_tools {

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
  // Whether a plug-in is loaded (and not unloaded since).
  bool loaded() const { return handle_ != nullptr; }
  // Closes the file (dlclose) and forgets the entry points. Nothing may call into the plug-in
  // afterwards; see the ownership note above. Does nothing when nothing is loaded.
  void unload();

 private:
  std::string path_;
  void* handle_ = nullptr;
  ResourceFunction application_ = nullptr;
  ResourceFunction bridge_ = nullptr;
  ResourceFunction event_ = nullptr;
  ResourceFunction custom_ = nullptr;
  TearDownFunction tearDown_ = nullptr;
};

}  // namespace zarvo_tools

#endif  // ZARVO_TOOLS_PLUGIN_H
