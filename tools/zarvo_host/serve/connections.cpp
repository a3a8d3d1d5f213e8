#include "serve/connections.h"

#include <vector>

namespace zarvo_host::serve {
namespace {

// A copy to iterate over: a connection told to end may leave the set meanwhile.
std::vector<Connection*> snapshot(const std::unordered_set<Connection*>& set) {
  return std::vector<Connection*>(set.begin(), set.end());
}

}  // namespace

bool Connections::makeRoom() {
  if (live_.size() < maxConnections_) return true;
  if (idle_.empty()) return false;
  Connection* oldest = idle_.front();
  setIdle(oldest, false);
  oldest->close();
  return true;
}

void Connections::enter(Connection* connection) {
  live_.insert(connection);
}

void Connections::leave(Connection* connection) {
  setIdle(connection, false);
  leaveStream(connection);
  live_.erase(connection);
}

void Connections::setIdle(Connection* connection, bool idle) {
  if (connection->idle_ == idle) return;
  connection->idle_ = idle;
  if (idle) {
    connection->idlePosition_ = idle_.insert(idle_.end(), connection);
  } else {
    idle_.erase(connection->idlePosition_);
  }
}

bool Connections::enterStream(Connection* stream) {
  if (streams_.size() >= maxStreams_) return false;
  streams_.insert(stream);
  return true;
}

void Connections::leaveStream(Connection* stream) {
  streams_.erase(stream);
}

void Connections::wakeStreams() {
  for (Connection* stream : snapshot(streams_)) {
    if (streams_.count(stream) != 0) stream->wake();
  }
}

void Connections::shutdownAll() {
  for (Connection* connection : snapshot(live_)) {
    if (live_.count(connection) != 0) connection->shutdown();
  }
}

void Connections::closeAll() {
  for (Connection* connection : snapshot(live_)) {
    if (live_.count(connection) != 0) connection->close();
  }
}

}  // namespace zarvo_host::serve
