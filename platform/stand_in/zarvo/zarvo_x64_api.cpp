// The C entry points of the application-connection interface (zarvo_x64.h): each logs the call
// and hands it to the simulator. Only these and the control functions are exported; nothing
// throws across them.
#include <cstdint>
#include <new>

#include "call_log.h"
#include "export.h"
#include "simulator.h"
#include "zarvo_x64.h"

using zarvo_sim::CallStart;
using zarvo_sim::Simulator;

namespace {

unsigned long handleNumber(ZrvApplicationHandle handle) {
  return static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(handle));
}

ZrvApplicationHandle handleOf(unsigned long number) {
  // Handles are small numbers dressed as pointers; nothing ever dereferences them.
  return reinterpret_cast<ZrvApplicationHandle>(  // NOLINT(performance-no-int-to-ptr)
      static_cast<std::uintptr_t>(number));
}

std::string text(const char* value) {
  return value != nullptr ? value : "";
}

template <typename Callback>
const void* address(Callback callback) {
  return callback != nullptr ? reinterpret_cast<const void*>(callback) : nullptr;
}

}  // namespace

extern "C" {

ZRV_SIM_EXPORT ZrvApplicationHandle ZrvConnectApplication(const char* name,
                                                          const char* clientName) {
  try {
    Simulator& simulator = Simulator::instance();
    CallStart start;
    start.function = "ZrvConnectApplication";
    start.writesHandle = false;
    start.args = {name, clientName};
    const auto sequence = simulator.log().begin(start);
    const unsigned long handle = name != nullptr ? simulator.connect(name, text(clientName)) : 0;
    simulator.log().finishConnect(sequence, handle);
    return handleOf(handle);
  } catch (...) {
    return nullptr;
  }
}

ZRV_SIM_EXPORT int ZrvDisconnectApplication(ZrvApplicationHandle handle) {
  try {
    Simulator& simulator = Simulator::instance();
    CallStart start;
    start.function = "ZrvDisconnectApplication";
    start.handle = handleNumber(handle);
    const auto sequence = simulator.log().begin(start);
    const int result = simulator.disconnect(handleNumber(handle));
    simulator.log().finish(sequence, result, false);
    return result;
  } catch (...) {
    return 0;
  }
}

ZRV_SIM_EXPORT int ZrvSetApplicationDidDisconnectCallback(ZrvApplicationHandle handle,
                                                          ZrvDidDisconnectCallback callback,
                                                          void* context) {
  try {
    Simulator& simulator = Simulator::instance();
    CallStart start;
    start.function = "ZrvSetApplicationDidDisconnectCallback";
    start.handle = handleNumber(handle);
    start.takesCallback = true;
    start.callback = address(callback);
    start.context = context;
    const auto sequence = simulator.log().begin(start);
    const int result = simulator.setDidDisconnectCallback(handleNumber(handle), callback, context);
    simulator.log().finish(sequence, result, false);
    return result;
  } catch (...) {
    return 0;
  }
}

ZRV_SIM_EXPORT int ZrvRegisterEvent(ZrvApplicationHandle handle, const char* target,
                                    const char* type, ZrvEventCallback callback, void* context) {
  try {
    Simulator& simulator = Simulator::instance();
    CallStart start;
    start.function = "ZrvRegisterEvent";
    start.handle = handleNumber(handle);
    start.args = {target, type};
    start.takesCallback = true;
    start.callback = address(callback);
    start.context = context;
    const auto sequence = simulator.log().begin(start);
    const int result =
        simulator.registerEvent(handleNumber(handle), text(target), text(type), callback, context);
    simulator.log().finish(sequence, result, false);
    return result;
  } catch (...) {
    return 0;
  }
}

ZRV_SIM_EXPORT int ZrvUnregisterEvent(ZrvApplicationHandle handle, const char* target,
                                      const char* type) {
  try {
    Simulator& simulator = Simulator::instance();
    CallStart start;
    start.function = "ZrvUnregisterEvent";
    start.handle = handleNumber(handle);
    start.args = {target, type};
    const auto sequence = simulator.log().begin(start);
    const int result = simulator.unregisterEvent(handleNumber(handle), text(target), text(type));
    simulator.log().finish(sequence, result, false);
    return result;
  } catch (...) {
    return 0;
  }
}

ZRV_SIM_EXPORT int ZrvBridgeCross(ZrvApplicationHandle handle, const char* target, const char* uri,
                                  const char* settings, const char* requestData,
                                  ZrvBridgeResponseCallback callback, void* context) {
  try {
    Simulator& simulator = Simulator::instance();
    CallStart start;
    start.function = "ZrvBridgeCross";
    start.handle = handleNumber(handle);
    start.args = {target, uri, settings, requestData};
    start.takesCallback = true;
    start.callback = address(callback);
    start.context = context;
    start.canCallBack = true;
    const auto sequence = simulator.log().begin(start);
    bool calledBack = false;
    const int result =
        simulator.bridgeCross(handleNumber(handle), text(uri), callback, context, calledBack);
    simulator.log().finish(sequence, result, calledBack);
    return result;
  } catch (...) {
    return 0;
  }
}

ZRV_SIM_EXPORT int ZrvExecuteCustomTask(ZrvApplicationHandle handle, const char* target,
                                        const char* type, const char* data,
                                        ZrvCustomTaskCallback callback, void* context) {
  try {
    Simulator& simulator = Simulator::instance();
    CallStart start;
    start.function = "ZrvExecuteCustomTask";
    start.handle = handleNumber(handle);
    start.args = {target, type, data};
    start.takesCallback = true;
    start.callback = address(callback);
    start.context = context;
    start.canCallBack = true;
    const auto sequence = simulator.log().begin(start);
    bool calledBack = false;
    const int result = simulator.executeCustomTask(handleNumber(handle), text(type), callback,
                                                   context, calledBack);
    simulator.log().finish(sequence, result, calledBack);
    return result;
  } catch (...) {
    return 0;
  }
}

}  // extern "C"
