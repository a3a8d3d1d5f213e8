// The control functions of the simulated library (zarvo_simulator.h).
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include "description.h"
#include "export.h"
#include "simulator.h"
#include "zarvo_simulator.h"

using zarvo_sim::Simulator;

namespace {

unsigned long handleNumber(ZrvApplicationHandle handle) {
  return static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(handle));
}

std::string text(const char* value) {
  return value != nullptr ? value : "";
}

// Copies `message` into the caller's buffer, cut to fit and always terminated.
void writeError(const std::string& message, char* error, size_t errorSize) {
  if (error == nullptr || errorSize == 0) return;
  const size_t length = message.size() < errorSize - 1 ? message.size() : errorSize - 1;
  std::memcpy(error, message.data(), length);
  error[length] = '\0';
}

int install(bool loaded, std::shared_ptr<zarvo_sim::Description> description,
            const std::string& message, char* error, size_t errorSize) {
  if (!loaded) {
    writeError(message, error, errorSize);
    return 0;
  }
  Simulator::instance().setDescription(std::move(description));
  writeError("", error, errorSize);
  return 1;
}

}  // namespace

extern "C" {

ZRV_SIM_EXPORT void ZrvSimDefaultProgram(ZrvSimProgram* program) {
  if (program == nullptr) return;
  *program = ZrvSimProgram{};
  program->connectFails = 0;
  program->disconnectResult = 1;
  program->setDidDisconnectResult = 1;
  program->registerResult = 1;
  program->unregisterResult = 1;
  program->bridgeCrossResult = 1;
  program->bridgeCrossCallsBack = 1;
  program->bridgeCrossStatus = 200;
  program->bridgeCrossAnswer = "null";
  program->customTaskResult = 1;
  program->customTaskCallsBack = 1;
  program->customTaskType = "";
  program->customTaskAnswer = "null";
}

ZRV_SIM_EXPORT void ZrvSimSetProgram(const ZrvSimProgram* program) {
  try {
    if (program == nullptr) {
      Simulator::instance().setProgram(zarvo_sim::Program());
    } else {
      Simulator::instance().setProgram(zarvo_sim::Program(*program));
    }
  } catch (...) {
  }
}

ZRV_SIM_EXPORT int ZrvSimLoadDescription(const char* path, char* error, size_t errorSize) {
  try {
    if (path == nullptr) {
      writeError("(no file): no file name given", error, errorSize);
      return 0;
    }
    auto description = std::make_shared<zarvo_sim::Description>();
    std::string message;
    const bool loaded = zarvo_sim::loadDescriptionFile(path, *description, message);
    return install(loaded, std::move(description), message, error, errorSize);
  } catch (...) {
    writeError(text(path) + ": out of memory", error, errorSize);
    return 0;
  }
}

ZRV_SIM_EXPORT int ZrvSimLoadDescriptionText(const char* json, const char* sourceName, char* error,
                                             size_t errorSize) {
  const std::string source = sourceName != nullptr ? sourceName : "description";
  try {
    if (json == nullptr) {
      writeError(source + ": no text given", error, errorSize);
      return 0;
    }
    auto description = std::make_shared<zarvo_sim::Description>();
    std::string message;
    const bool loaded = zarvo_sim::parseDescription(json, source, *description, message);
    return install(loaded, std::move(description), message, error, errorSize);
  } catch (...) {
    writeError(source + ": out of memory", error, errorSize);
    return 0;
  }
}

ZRV_SIM_EXPORT int ZrvSimRaiseEvent(ZrvApplicationHandle handle, const char* type,
                                    const char* json) {
  try {
    return Simulator::instance().raiseEvent(handleNumber(handle), text(type), text(json), false);
  } catch (...) {
    return 0;
  }
}

ZRV_SIM_EXPORT int ZrvSimRaiseEventWithNullContext(ZrvApplicationHandle handle, const char* type,
                                                   const char* json) {
  try {
    return Simulator::instance().raiseEvent(handleNumber(handle), text(type), text(json), true);
  } catch (...) {
    return 0;
  }
}

ZRV_SIM_EXPORT void ZrvSimPostEvent(ZrvApplicationHandle handle, const char* type,
                                    const char* json) {
  try {
    Simulator::instance().postEvent(handleNumber(handle), text(type), text(json));
  } catch (...) {
  }
}

ZRV_SIM_EXPORT void ZrvSimFlush(void) {
  Simulator::instance().flush();
}

ZRV_SIM_EXPORT int ZrvSimRaiseDidDisconnect(ZrvApplicationHandle handle, int nullContext) {
  try {
    return Simulator::instance().raiseDidDisconnect(handleNumber(handle), nullContext != 0);
  } catch (...) {
    return 0;
  }
}

ZRV_SIM_EXPORT void ZrvSimSetEventThreadCount(int count) {
  try {
    Simulator::instance().setEventThreadCount(count);
  } catch (...) {
  }
}

ZRV_SIM_EXPORT size_t ZrvSimEventThreadStackSize(void) {
  return Simulator::eventThreadStackSize();
}

ZRV_SIM_EXPORT size_t ZrvSimConnectionRecordCount(void) {
  return Simulator::instance().connectionRecordCount();
}

ZRV_SIM_EXPORT size_t ZrvSimTimerCount(void) {
  return Simulator::instance().timerCount();
}

ZRV_SIM_EXPORT ZrvApplicationHandle ZrvSimConnectionNamed(const char* name) {
  if (name == nullptr) return nullptr;
  try {
    const unsigned long handle = Simulator::instance().openConnectionNamed(name);
    return reinterpret_cast<ZrvApplicationHandle>(  // NOLINT(performance-no-int-to-ptr)
        static_cast<std::uintptr_t>(handle));
  } catch (...) {
    return nullptr;
  }
}

ZRV_SIM_EXPORT long ZrvSimEventCallbackCount(void) {
  return Simulator::instance().eventCallbackCount();
}

ZRV_SIM_EXPORT size_t ZrvSimCallCount(void) {
  return Simulator::instance().log().size();
}

ZRV_SIM_EXPORT int ZrvSimGetCall(size_t index, ZrvSimCall* out) {
  return Simulator::instance().log().get(index, out) ? 1 : 0;
}

ZRV_SIM_EXPORT const char* ZrvSimCallLog(void) {
  // One buffer per thread, replaced by that thread's next call.
  thread_local std::string buffer;
  try {
    buffer = Simulator::instance().log().text();
  } catch (...) {
    buffer.clear();
  }
  return buffer.c_str();
}

ZRV_SIM_EXPORT void ZrvSimClearLog(void) {
  Simulator::instance().log().clear();
}

ZRV_SIM_EXPORT void ZrvSimSetCallLogEnabled(int enabled) {
  Simulator::instance().log().setEnabled(enabled != 0);
}

ZRV_SIM_EXPORT void ZrvSimReset(void) {
  try {
    Simulator::instance().reset();
  } catch (...) {
  }
  // The log is the only part of the state kept outside the simulator's own reset.
  Simulator::instance().log().setEnabled(true);
}

}  // extern "C"
