// The integrator's contract of zarvo_bridging.h, statement by statement where a test can show it:
// request texts are not kept after the call; calls may come from any thread one at a time; a
// NULL request text and a throwing host function both break exactly-once by an exception that
// leaves the entry point. (Events on the library's thread: event_delivery_test; unloading:
// unload_test; exit without TearDown: process_test.)
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bridge_helper_stand_in.h"
#include "plugin_harness.h"

namespace restest {
namespace {

using Lines = std::vector<std::string>;

// A copy of `text` on the heap, so the test can scribble over it and free it after the call.
std::unique_ptr<char[]> heapText(const std::string& text) {
  auto copy = std::make_unique<char[]>(text.size() + 1);
  std::memcpy(copy.get(), text.c_str(), text.size() + 1);
  return copy;
}

void scribbleAndFree(std::unique_ptr<char[]>& text) {
  std::memset(text.get(), 'x', std::strlen(text.get()));
  text.reset();
}

using ContractTest = ResourceTest;

TEST_F(ContractTest, RequestTextsMayBeFreedAsSoonAsTheCallReturns) {
  auto options = heapText(R"({"method":"post"})");
  auto parameters = heapText(R"({"name":"viewer"})");
  auto subscribe = heapText(R"({"name":"viewer","type":"progress"})");
  auto body = heapText(R"({"target":"main"})");
  plugin().application(options.get(), parameters.get(), "{}", "");
  plugin().event(options.get(), subscribe.get(), "{}", body.get());
  scribbleAndFree(options);
  scribbleAndFree(parameters);
  scribbleAndFree(subscribe);
  scribbleAndFree(body);

  // The name, the event type and the target live on in the plug-in's and the library's copies.
  ASSERT_EQ(ZrvSimRaiseEvent(ZrvSimConnectionNamed("viewer"), "progress", "7"), 1);
  const std::vector<Event> events = host().events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].text, R"({"app":"viewer","data":7,"type":"progress"})");
  const Response disconnect = application("delete", R"({"name":"viewer"})");
  EXPECT_EQ(disconnect.text, kOkText);
}

TEST_F(ContractTest, CallsFromDifferentThreadsOneAtATime) {
  // Each call on a thread of its own, the next one started after the previous one was joined.
  auto onItsOwnThread = [](auto call) {
    std::thread thread(call);
    thread.join();
  };
  Response connected, opened, disconnected;
  onItsOwnThread([&] { connected = application("post", R"({"name":"viewer"})"); });
  onItsOwnThread([&] { opened = bridge("post", R"({"name":"viewer"})", R"({"uri":"/a"})"); });
  onItsOwnThread([&] { plugin().tearDown(); });
  onItsOwnThread([&] { disconnected = application("delete", R"({"name":"viewer"})"); });
  EXPECT_EQ(connected.text, kOkText);
  EXPECT_EQ(opened.text, R"({"error":null,"value":{"data":null,"statuscode":200}})");
  EXPECT_EQ(disconnected.status, 400);  // TearDown on the third thread had closed it
  const Lines log = callLog();
  ASSERT_FALSE(log.empty());
  EXPECT_EQ(log.back(), "ZrvDisconnectApplication(1) -> 1");
}

TEST_F(ContractTest, NullRequestTextThrowsLogicErrorWithoutAResponse) {
  const char* texts[4] = {R"({"method":"post"})", R"({"name":"viewer"})", "{}", ""};
  for (int position = 0; position < 4; ++position) {
    const char* withNull[4] = {texts[0], texts[1], texts[2], texts[3]};
    withNull[position] = nullptr;
    const long responsesBefore = BridgeHelperStandInResponseCount();
    const long promisesBefore = BridgeHelperStandInPromiseCount();
    EXPECT_THROW(plugin().application(withNull[0], withNull[1], withNull[2], withNull[3]),
                 std::logic_error)
        << "NULL text at position " << position;
    // A promise was taken and never answered: exactly-once does not hold here.
    EXPECT_EQ(BridgeHelperStandInPromiseCount(), promisesBefore + 1) << position;
    EXPECT_EQ(BridgeHelperStandInResponseCount(), responsesBefore) << position;
  }
  EXPECT_EQ(callLog(), Lines{});
}

void throwingSink(int /*promiseId*/, int /*status*/, const char* /*json*/, void* /*userData*/) {
  throw std::runtime_error("host refuses the response");
}

TEST_F(ContractTest, ExceptionFromTheHostLeavesTheEntryPoint) {
  BridgeHelperStandInSetResponseSink(&throwingSink, nullptr);
  EXPECT_THROW(plugin().bridge(R"({"method":"get"})", "{}", "{}", ""), std::runtime_error);
  // The plug-in holds nothing from the interrupted call: the next call is answered normally.
  BridgeHelperStandInSetResponseSink(nullptr, nullptr);
  const long before = BridgeHelperStandInResponseCount();
  plugin().bridge(R"({"method":"get"})", "{}", "{}", "");
  EXPECT_EQ(BridgeHelperStandInResponseCount(), before + 1);
}

// A C host cannot pass an exception through its own frames: the process terminates.
int callAsACHost(const char* options) noexcept {
  return Plugin::get().application(options, R"({"name":"viewer"})", "{}", "");
}

TEST(ContractDeathTest, NullRequestTextTerminatesACHost) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  Plugin::get();
  EXPECT_DEATH(callAsACHost(nullptr), "std::logic_error");
}

}  // namespace
}  // namespace restest
