// The application registry and the application objects that own the connections.
//
// bridge::ApplicationManager is the one process-wide registry (Shared()) mapping the name the
// page chose to the application object connected under it. It owns every object it maps; the
// objects are created only by connect() and destroyed only by disconnect() and clear(), and
// destroying an object closes its connection. The registry's own destructor, run at process
// exit, frees only its map: it closes nothing, so a host that exits without TearDown leaves the
// connections to the application library.
//
// Threads: no locks. The registry is used from the host's calling thread only. The library may
// call zarvo::OnApplicationDidDisconnect from its own thread; that touches no shared state
// (onDidDisconnect does nothing).
#ifndef BRIDGE_APPLICATION_MANAGER_H
#define BRIDGE_APPLICATION_MANAGER_H

#include <map>
#include <string>

#include "pocketjson/value.h"
#include "zarvo_x64.h"

namespace zarvo {

// Root of application objects: owns one connection handle (null = not connected).
class Application {
 public:
  Application() = default;
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;
  // Closes the connection (disconnect()).
  virtual ~Application();

  // An event the application raised; does nothing here (bridge::Application dispatches it).
  virtual void onEvent(const std::string& type, const pocketjson::Value& data);
  // The library reports the connection gone; does nothing, deliberately: the name stays
  // registered until the page disconnects it.
  virtual void onDidDisconnect();

  // Connects `name` for `clientName` (disconnecting first if connected), then registers the
  // did-disconnect callback unconditionally, even with a null handle.
  void connect(const std::string& name, const std::string& clientName);
  // Closes the connection if there is one; never fails.
  void disconnect();

  ZrvApplicationHandle handle = nullptr;
};

// The library's did-disconnect callback; `context` is the application object (null: ignored).
void OnApplicationDidDisconnect(void* context);

}  // namespace zarvo

namespace bridge {

// The only concrete application class: remembers the name it was connected under.
class Application : public zarvo::Application {
 public:
  explicit Application(const std::string& applicationName) : name(applicationName) {}
  // Dispatches "zarvoEvent" {"app":name,"data":data,"type":type} to the host, on the calling
  // thread.
  void onEvent(const std::string& type, const pocketjson::Value& data) override;

  std::string name;
};

class ApplicationManager {
 public:
  // The process-wide registry, created empty on first use.
  static ApplicationManager& Shared();

  ApplicationManager() = default;
  ApplicationManager(const ApplicationManager&) = delete;
  ApplicationManager& operator=(const ApplicationManager&) = delete;
  // Frees the map only; closes no connection.
  ~ApplicationManager() = default;

  // Connects a new application under `name`; false when `name` is already registered (nothing is
  // called then) or the library refused the connection.
  bool connect(const std::string& name);
  // Destroys the object of `name` (closing its connection), then removes the entry; false only
  // when there is no such entry.
  bool disconnect(const std::string& name);
  // Whether an entry `name` exists.
  bool contains(const std::string& name) const;
  // The object of `name`, or null. The pointer is valid until `name` is disconnected or cleared.
  zarvo::Application* applicationWithName(const std::string& name) const;
  // Destroys every object in ascending name order, then empties the registry.
  void clear();

  // The client name derived from an executable path: the file name without its last extension;
  // a '/' or '.' at position 0 counts as not found ("/usr/lib/app.beta.run" -> "app.beta").
  static std::string clientNameFromPath(const std::string& executablePath);

 private:
  std::map<std::string, zarvo::Application*> applications_;
};

}  // namespace bridge

#endif  // BRIDGE_APPLICATION_MANAGER_H
