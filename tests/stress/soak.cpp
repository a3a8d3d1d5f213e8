// soak: a long mixed session through the plug-in's exported entry points, with application
// events flowing from the simulator's event threads all the time.
//
//   soak [calls] [--rss-bound-mib=N]        calls default 1000000, bound default 8
//
// Every iteration picks one operation at random (fixed seed, so runs are repeatable): connect,
// disconnect, bridge-cross request, custom task, subscribe, unsubscribe, a request the bridge
// must refuse (405 and the 400 messages), a request while the application library fails (500),
// posting events to the connected applications (delivered on four simulator event threads), and
// now and then TearDown. A model of which names are connected and subscribed predicts every
// status and response text, and each text is compared byte for byte.
//
// Checked, with exit status 1 on any failure:
//   * every call is answered exactly once: the host's promise count, its response count and the
//     number of calls made are equal, and each promise identifier got exactly one response, the
//     one the entry point returned;
//   * every response text is the expected one;
//   * every event the simulator delivered was dispatched once, as {"app":…,"data":…,"type":"tick"};
//   * resident memory (VmRSS) grows by less than the bound after warm-up (the first tenth of the
//     calls, at least 20,000 when there are 40,000 or more). Not checked under a sanitizer, whose
//     allocator keeps freed memory in quarantine on purpose, nor for runs shorter than 50,000
//     calls.
// The figures (calls, seconds, RSS after warm-up / at the end / maximum) are printed on stdout.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "bridge_helper_stand_in.h"
#include "zarvo_bridging.h"
#include "zarvo_simulator.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SOAK_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SOAK_SANITIZED 1
#endif
#endif
#ifndef SOAK_SANITIZED
#define SOAK_SANITIZED 0
#endif

namespace {

constexpr int kApplications = 6;
constexpr const char* kPost = "{\"method\":\"post\"}";
constexpr const char* kDelete = "{\"method\":\"delete\"}";

const std::string kOkNull = "{\"error\":null,\"value\":null}";
const std::string kNameEmpty =
    "{\"error\":{\"message\":\"URI parameter 'name' is empty.\",\"name\":\"BadRequestError\"},"
    "\"value\":null}";
const std::string kTypeParamEmpty =
    "{\"error\":{\"message\":\"URI parameter 'type' is empty.\",\"name\":\"BadRequestError\"},"
    "\"value\":null}";
const std::string kNotExisted =
    "{\"error\":{\"message\":\"Application instance is not existed.\",\"name\":"
    "\"BadRequestError\"},\"value\":null}";
const std::string kUriEmpty =
    "{\"error\":{\"message\":\"uri is empty string.\",\"name\":\"BadRequestError\"},"
    "\"value\":null}";
const std::string kTypeEmpty =
    "{\"error\":{\"message\":\"type is empty string.\",\"name\":\"BadRequestError\"},"
    "\"value\":null}";
const std::string kConnectFailed =
    "{\"error\":{\"message\":\"Failed to connect application.\",\"name\":\"InternalError\"},"
    "\"value\":null}";
const std::string kNoResponse =
    "{\"error\":{\"message\":\"No response from the application.\",\"name\":\"InternalError\"},"
    "\"value\":null}";
const std::string kGetRefused =
    "{\"error\":{\"message\":\"GET method is not allowed.\",\"name\":\"MethodError\"},"
    "\"value\":null}";
const std::string kPutRefused =
    "{\"error\":{\"message\":\"PUT method is not allowed.\",\"name\":\"MethodError\"},"
    "\"value\":null}";
const std::string kBridgeAnswer =
    "{\"error\":null,\"value\":{\"data\":{\"n\":[1,2,3],\"ok\":true},\"statuscode\":200}}";
const std::string kCustomAnswer = "{\"error\":null,\"value\":{\"data\":[1,2],\"type\":\"done\"}}";

// What the host sinks saw. Responses arrive on the calling thread, events on the simulator's.
struct Host {
  std::mutex mutex;
  int lastPromise = 0;
  int lastStatus = 0;
  std::string lastText;
  std::vector<uint8_t> answered;  // per promise identifier: number of responses
  long duplicateResponses = 0;
  long events = 0;
  long badEvents = 0;
  std::string firstBadEvent;
};

Host host;

void onResponse(int promiseId, int statusCode, const char* json, void*) {
  std::lock_guard<std::mutex> lock(host.mutex);
  host.lastPromise = promiseId;
  host.lastStatus = statusCode;
  host.lastText.assign(json);
  if (promiseId <= 0) {
    ++host.duplicateResponses;
    return;
  }
  const size_t index = static_cast<size_t>(promiseId);
  if (index >= host.answered.size()) host.answered.resize(index * 2 + 1024, 0);
  if (++host.answered[index] != 1) ++host.duplicateResponses;
}

void onEvent(const char* eventName, const char* json, void*) {
  std::lock_guard<std::mutex> lock(host.mutex);
  ++host.events;
  // {"app":"appN","data":{"seq":…},"type":"tick"}
  static const char kPrefix[] = "{\"app\":\"app";
  static const char kSuffix[] = "},\"type\":\"tick\"}";
  const size_t length = std::strlen(json);
  const bool ok = std::strcmp(eventName, "zarvoEvent") == 0 &&
                  std::strncmp(json, kPrefix, sizeof kPrefix - 1) == 0 &&
                  length > sizeof kPrefix + sizeof kSuffix &&
                  std::strcmp(json + length - (sizeof kSuffix - 1), kSuffix) == 0 &&
                  std::strstr(json, "\",\"data\":{\"seq\":") != nullptr;
  if (!ok) {
    if (host.badEvents++ == 0) host.firstBadEvent = json;
  }
}

long residentKiB() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.compare(0, 6, "VmRSS:") == 0) return std::atol(line.c_str() + 6);
  }
  return -1;
}

// xorshift64*: a fixed, fast sequence.
struct Random {
  uint64_t state = 0x9E3779B97F4A7C15ull;
  uint32_t next() {
    state ^= state >> 12;
    state ^= state << 25;
    state ^= state >> 27;
    return static_cast<uint32_t>((state * 2685821657736338717ull) >> 32);
  }
  uint32_t below(uint32_t n) { return next() % n; }
};

struct Model {
  bool connected[kApplications] = {};
  bool subscribed[kApplications] = {};
  uintptr_t handle[kApplications] = {};
  uintptr_t nextHandle = 1;  // the simulator numbers connections 1, 2, 3, ... in connect order
};

class Soak {
 public:
  explicit Soak(long calls) : calls_(calls) {
    for (int i = 0; i < kApplications; ++i) {
      names_[i] = "{\"name\":\"app" + std::to_string(i) + "\"}";
      eventParams_[i] = "{\"name\":\"app" + std::to_string(i) + "\",\"type\":\"tick\"}";
    }
    ZrvSimDefaultProgram(&normal_);
    normal_.bridgeCrossAnswer = "{\"ok\":true,\"n\":[1,2,3]}";
    normal_.customTaskType = "done";
    normal_.customTaskAnswer = "[1,2]";
    failing_ = normal_;
    failing_.bridgeCrossResult = 0;
    failing_.customTaskResult = 0;
  }

  int run() {
    BridgeHelperStandInReset();
    ZrvSimReset();
    ZrvSimSetEventThreadCount(4);
    ZrvSimSetProgram(&normal_);
    host.answered.assign(static_cast<size_t>(calls_) + 1024, 0);
    BridgeHelperStandInSetResponseSink(onResponse, nullptr);
    BridgeHelperStandInSetEventSink(onEvent, nullptr);

    const long warmUp = std::max<long>(calls_ / 10, std::min<long>(20000, calls_ / 2));
    long rssWarm = -1;
    long rssMax = 0;
    const auto started = std::chrono::steady_clock::now();
    while (made_ < calls_) {
      step();
      if ((iteration_ & 1023) == 0) {
        ZrvSimClearLog();  // the simulator logs every call; keep that bounded
        ZrvSimFlush();     // and the event queue
      }
      if (made_ >= warmUp && rssWarm < 0) rssWarm = residentKiB();
      if (rssWarm >= 0 && (iteration_ & 8191) == 0) rssMax = std::max(rssMax, residentKiB());
      ++iteration_;
      if (failures_ > 20) break;
    }
    TearDown();
    ZrvSimFlush();
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    const long rssEnd = residentKiB();
    rssMax = std::max(rssMax, rssEnd);

    // Exactly once, in total and per promise.
    const long promises = BridgeHelperStandInPromiseCount();
    const long responses = BridgeHelperStandInResponseCount();
    long answeredOnce = 0;
    for (size_t i = 1; i <= static_cast<size_t>(made_) && i < host.answered.size(); ++i) {
      answeredOnce += host.answered[i] == 1 ? 1 : 0;
    }
    if (promises != made_ || responses != made_ || answeredOnce != made_ ||
        host.duplicateResponses != 0) {
      report("exactly-once", "calls " + std::to_string(made_) + ", promises " +
                                 std::to_string(promises) + ", responses " +
                                 std::to_string(responses) + ", answered once " +
                                 std::to_string(answeredOnce));
    }
    const long delivered = deliveredBeforeReset_ + ZrvSimEventCallbackCount();
    if (delivered != host.events || BridgeHelperStandInEventCount() != host.events ||
        host.badEvents != 0) {
      report("events", "delivered " + std::to_string(delivered) + ", dispatched " +
                           std::to_string(host.events) + ", malformed " +
                           std::to_string(host.badEvents) + " " + host.firstBadEvent);
    }
    BridgeHelperStandInReset();

    std::printf("soak: calls %ld, iterations %ld, events %ld, seconds %.2f, %.2f us/call\n", made_,
                iteration_, host.events, seconds, seconds * 1e6 / double(made_));
    std::printf(
        "soak: VmRSS after warm-up (%ld calls) %ld KiB, at end %ld KiB, max %ld KiB, "
        "growth %ld KiB\n",
        warmUp, rssWarm, rssEnd, rssMax, rssWarm < 0 ? 0 : rssMax - rssWarm);
    if (SOAK_SANITIZED || calls_ < 50000 || rssWarm < 0) {
      std::printf("soak: RSS bound not checked (%s)\n",
                  SOAK_SANITIZED ? "sanitizer build" : "short run");
    } else if (rssMax - rssWarm > rssBoundKiB) {
      report("memory", "RSS grew by " + std::to_string(rssMax - rssWarm) + " KiB, bound " +
                           std::to_string(rssBoundKiB) + " KiB");
    } else {
      std::printf("soak: RSS growth within the bound of %ld KiB\n", rssBoundKiB);
    }
    std::printf("soak: %s\n", failures_ == 0 ? "PASSED" : "FAILED");
    return failures_ == 0 ? 0 : 1;
  }

  long rssBoundKiB = 8 * 1024;

 private:
  void report(const char* what, const std::string& detail) {
    ++failures_;
    std::fprintf(stderr, "soak: FAILED %s at call %ld: %s\n", what, made_, detail.c_str());
  }

  // One entry-point call, checked against the expected status and text.
  template <typename EntryPoint>
  void expect(EntryPoint entry, const char* options, const std::string& parameters,
              const std::string& body, int status, const std::string& text) {
    const int id = entry(options, parameters.c_str(), "{}", body.c_str());
    ++made_;
    if (id != made_ || host.lastPromise != id || host.lastStatus != status ||
        host.lastText != text) {
      report("response", "promise " + std::to_string(id) + " status " +
                             std::to_string(host.lastStatus) + " text " + host.lastText +
                             " expected " + std::to_string(status) + " " + text);
    }
  }

  void step() {
    const int app = static_cast<int>(random_.below(kApplications));
    const std::string& name = names_[app];
    const bool on = model_.connected[app];
    const uint32_t pick = random_.below(1000);
    if (pick < 90) {
      expect(ZarvoApplication, kPost, name, "", on ? 500 : 200, on ? kConnectFailed : kOkNull);
      if (!on) {
        model_.connected[app] = true;
        model_.handle[app] = model_.nextHandle++;
      }
    } else if (pick < 160) {
      expect(ZarvoApplication, kDelete, name, "", on ? 200 : 400, on ? kOkNull : kNotExisted);
      model_.connected[app] = false;
      model_.subscribed[app] = false;
    } else if (pick < 440) {
      body_ = "{\"uri\":\"/soak\",\"requestData\":{\"i\":" + std::to_string(made_) +
              ",\"s\":\"text\"},\"settings\":{\"x\":1}}";
      expect(ZarvoApplicationBridge, kPost, name, body_, on ? 200 : 400,
             on ? kBridgeAnswer : kNotExisted);
    } else if (pick < 590) {
      expect(ZarvoApplicationCustom, kPost, name, "{\"type\":\"render\",\"data\":{\"p\":3}}",
             on ? 200 : 400, on ? kCustomAnswer : kNotExisted);
    } else if (pick < 670) {
      expect(ZarvoApplicationEvent, kPost, eventParams_[app], "{\"target\":\"doc\"}",
             on ? 200 : 400, on ? kOkNull : kNotExisted);
      if (on) model_.subscribed[app] = true;
    } else if (pick < 720) {
      expect(ZarvoApplicationEvent, kDelete, eventParams_[app], "", on ? 200 : 400,
             on ? kOkNull : kNotExisted);
      model_.subscribed[app] = false;
    } else if (pick < 820) {
      refused(app);
    } else if (pick < 850) {
      ZrvSimSetProgram(&failing_);
      expect(ZarvoApplicationBridge, kPost, name, "{\"uri\":\"/x\"}", on ? 500 : 400,
             on ? kNoResponse : kNotExisted);
      expect(ZarvoApplicationCustom, kPost, name, "{\"type\":\"t\"}", on ? 500 : 400,
             on ? kNoResponse : kNotExisted);
      ZrvSimSetProgram(&normal_);
    } else if (pick < 999) {
      postEvents();
    } else if (random_.below(20) == 0) {
      // The host is done with the plug-in for a while: TearDown, and the application library
      // starts afresh too (the simulator keeps a record of every connection it ever made until
      // it is reset, which would otherwise count against the plug-in's memory here).
      TearDown();
      ZrvSimFlush();
      deliveredBeforeReset_ += ZrvSimEventCallbackCount();  // the reset restarts the count
      ZrvSimReset();
      ZrvSimSetEventThreadCount(4);
      ZrvSimSetProgram(&normal_);
      model_ = Model();
    }
  }

  // Requests the bridge refuses, in rotation.
  void refused(int app) {
    const bool on = model_.connected[app];
    switch (random_.below(7)) {
      case 0:
        expect(ZarvoApplicationBridge, "{\"method\":\"get\"}", names_[app], "", 405, kGetRefused);
        break;
      case 1:
        expect(ZarvoApplication, "{\"method\":\"PUT\"}", names_[app], "", 405, kPutRefused);
        break;
      case 2:
        expect(ZarvoApplicationCustom, "{\"method\":\"patch\"}", "{}", "", 405, kGetRefused);
        break;
      case 3:
        expect(ZarvoApplicationBridge, kPost, "{\"name\":[]}", "{\"uri\":\"/x\"}", 400, kNameEmpty);
        break;
      case 4:
        expect(ZarvoApplicationBridge, kPost, names_[app], "not json", 400,
               on ? kUriEmpty : kNotExisted);
        break;
      case 5:
        expect(ZarvoApplicationCustom, kPost, names_[app], "{\"data\":1}", 400,
               on ? kTypeEmpty : kNotExisted);
        break;
      default:
        expect(ZarvoApplicationEvent, kPost, names_[app], "", 400, kTypeParamEmpty);
        break;
    }
  }

  // Queues events for a few applications; the simulator delivers them on its event threads
  // while the calls go on.
  void postEvents() {
    const int count = 1 + static_cast<int>(random_.below(3));
    for (int i = 0; i < count; ++i) {
      const int app = static_cast<int>(random_.below(kApplications));
      if (!model_.connected[app]) continue;
      payload_ = "{\"seq\":" + std::to_string(sequence_++) + "}";
      ZrvSimPostEvent(reinterpret_cast<ZrvApplicationHandle>(model_.handle[app]), "tick",
                      payload_.c_str());
    }
  }

  long calls_;
  long made_ = 0;
  long iteration_ = 0;
  long sequence_ = 0;
  long deliveredBeforeReset_ = 0;
  int failures_ = 0;
  Model model_;
  Random random_;
  ZrvSimProgram normal_;
  ZrvSimProgram failing_;
  std::string names_[kApplications];
  std::string eventParams_[kApplications];
  std::string body_;
  std::string payload_;
};

}  // namespace

int main(int argc, char** argv) {
  long calls = 1000000;
  long boundMiB = 8;
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--rss-bound-mib=", 16) == 0) {
      boundMiB = std::atol(argv[i] + 16);
    } else {
      calls = std::atol(argv[i]);
    }
  }
  if (calls <= 0 || boundMiB <= 0) {
    std::fprintf(stderr, "usage: soak [calls] [--rss-bound-mib=N]\n");
    return 2;
  }
  Soak soak(calls);
  soak.rssBoundKiB = boundMiB * 1024;
  return soak.run();
}
