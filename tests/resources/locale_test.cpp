// Numbers keep '.' as their decimal point in every text the plug-in reads and writes, also when
// the process locale uses ','. Raises events, so it runs under ThreadSanitizer in CI too.
#include <clocale>
#include <string>
#include <vector>

#include "plugin_harness.h"

namespace restest {
namespace {

using Lines = std::vector<std::string>;

class CommaLocale : public ResourceTest {
 protected:
  void SetUp() override {
    ResourceTest::SetUp();
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr &&
        std::setlocale(LC_ALL, "de_DE.utf8") == nullptr) {
      GTEST_SKIP() << "locale de_DE.UTF-8 is not installed (add \"de_DE.UTF-8 UTF-8\" to "
                      "/etc/locale.gen and run locale-gen)";
    }
    // The premise of these tests: the C library now formats with a decimal comma.
    char text[16];
    std::snprintf(text, sizeof text, "%.1f", 1.5);
    ASSERT_STREQ(text, "1,5");
  }

  void TearDown() override {
    std::setlocale(LC_ALL, "C");
    ResourceTest::TearDown();
  }
};

TEST_F(CommaLocale, AnswersWithDoublesRoundTripWithPoint) {
  connect("viewer");
  ZrvSimProgram p;
  ZrvSimDefaultProgram(&p);
  p.bridgeCrossAnswer = R"({"x":1.5,"y":[-0.25,3.125e2],"z":0.1})";
  p.customTaskAnswer = "[2.5]";
  p.customTaskType = "done";
  ZrvSimSetProgram(&p);
  EXPECT_EQ(bridge("post", R"({"name":"viewer"})", R"({"uri":"/x"})").text,
            R"({"error":null,"value":{"data":{"x":1.5,"y":[-0.25,312.5],"z":0.10000000000000001},)"
            R"("statuscode":200}})");
  EXPECT_EQ(custom("post", R"({"name":"viewer"})", R"({"type":"t"})").text,
            R"({"error":null,"value":{"data":[2.5],"type":"done"}})");
}

TEST_F(CommaLocale, RequestDoublesReachTheLibraryWithPoint) {
  connect("viewer");
  ZrvSimClearLog();
  bridge("post", R"({"name":"viewer"})",
         R"({"uri":1.5,"requestData":[0.5,-2.75],"settings":{"scale":1.25}})");
  custom("post", R"({"name":"viewer"})", R"({"type":0.5,"data":6.5})");
  EXPECT_EQ(
      callLog(),
      (Lines{"ZrvBridgeCross(1, \"\", \"1.5\", \"{\\\"scale\\\":1.25}\", \"[0.5,-2.75]\", "
             "callback, context) -> 1 called back",
             R"(ZrvExecuteCustomTask(1, "", "0.5", "6.5", callback, context) -> 1 called back)"}));
}

TEST_F(CommaLocale, FloatingPointNameIsWrittenWithPoint) {
  EXPECT_EQ(application("post", R"({"name":2.5})").status, 200);
  EXPECT_EQ(callLog(), connected("2.5", 1));
  EXPECT_EQ(application("delete", R"({"name":"2.5"})").status, 200);
}

TEST_F(CommaLocale, EventPayloadDoublesKeepPoint) {
  connect("viewer");
  ASSERT_EQ(event("post", R"({"name":"viewer","type":"progress"})").status, 200);
  ASSERT_EQ(ZrvSimRaiseEvent(reinterpret_cast<ZrvApplicationHandle>(1), "progress",
                             R"({"percent":12.5})"),
            1);
  const std::vector<Event> events = host().events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].text, R"({"app":"viewer","data":{"percent":12.5},"type":"progress"})");
}

}  // namespace
}  // namespace restest
