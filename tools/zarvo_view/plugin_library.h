// The plug-in file, opened with dlopen as a web-view host opens it, and closed again.
//
// Threads: load, the entry points, tearDown and unload are all called on the GUI thread.
// Ownership: the object owns the dlopen handle. unload() must come after tearDown() and after
// the event sink is gone, so that no library thread can still be inside the plug-in's code;
// the destructor unloads too if that was not done.
// Failure: load returns false with a message naming the file and what is missing.
#ifndef ZARVO_VIEW_PLUGIN_LIBRARY_H
#define ZARVO_VIEW_PLUGIN_LIBRARY_H

#include <string>

namespace zarvo_view {

// The signature shared by the four resource entry points: options, parameters, extra, body.
using ResourceFunction = int (*)(const char*, const char*, const char*, const char*);
using TearDownFunction = void (*)();

class PluginLibrary {
 public:
  PluginLibrary() = default;
  PluginLibrary(const PluginLibrary&) = delete;
  PluginLibrary& operator=(const PluginLibrary&) = delete;
  ~PluginLibrary() { unload(); }

  // Opens `path` (RTLD_NOW) and resolves the five entry points.
  bool load(const std::string& path, std::string* error);
  // The entry point of `resource`; null when not loaded or not one of the four resources.
  ResourceFunction resource(const std::string& resource) const;
  // Calls the plug-in's TearDown (harmless when repeated); nothing when not loaded.
  void tearDown();
  // Closes the file; the entry points are gone afterwards.
  void unload();
  bool loaded() const { return handle_ != nullptr; }

 private:
  void* handle_ = nullptr;
  ResourceFunction application_ = nullptr;
  ResourceFunction bridge_ = nullptr;
  ResourceFunction event_ = nullptr;
  ResourceFunction custom_ = nullptr;
  TearDownFunction tearDown_ = nullptr;
};

}  // namespace zarvo_view

#endif  // ZARVO_VIEW_PLUGIN_LIBRARY_H
