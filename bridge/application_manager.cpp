#include "bridge/application_manager.h"

#include <memory>
#include <string>

#include "fs/client_name.h"

namespace bridge {

ApplicationManager& ApplicationManager::Shared() {
  static ApplicationManager shared;
  return shared;
}

bool ApplicationManager::connect(const std::string& name) {
  // Re-connecting a name is a failure, not a reuse; the existing connection is left alone.
  if (applications_.find(name) != applications_.end()) {
    return false;
  }
  const std::string clientName = fs::client_name();

  // Held by a unique_ptr until the map owns it, so a failed insertion still closes the connection.
  std::unique_ptr<zarvo::Application> application(new Application(name));
  application->connect(name, clientName);
  if (application->handle == nullptr) {
    return false;  // destroyed here; a null handle means no disconnect call
  }
  applications_.emplace(name, application.get());
  static_cast<void>(application.release());  // the map owns it now
  return true;
}

bool ApplicationManager::disconnect(const std::string& name) {
  const auto entry = applications_.find(name);
  if (entry == applications_.end()) {
    return false;
  }
  // The object goes first (its destructor closes the connection), the entry second. A null
  // pointer, which connect() never maps, is simply not destroyed.
  if (entry->second != nullptr) delete entry->second;
  applications_.erase(entry);
  return true;
}

bool ApplicationManager::contains(const std::string& name) const {
  return applications_.find(name) != applications_.end();
}

zarvo::Application* ApplicationManager::applicationWithName(const std::string& name) const {
  const auto entry = applications_.find(name);
  return entry == applications_.end() ? nullptr : entry->second;
}

void ApplicationManager::clear() {
  // The map iterates in ascending name order, which is the order the connections close in.
  for (const auto& entry : applications_) {
    if (entry.second != nullptr) delete entry.second;
  }
  applications_.clear();
}

std::string ApplicationManager::clientNameFromPath(const std::string& executablePath) {
  return fs::client_name_of(executablePath);
}

}  // namespace bridge
