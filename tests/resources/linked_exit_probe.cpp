// Child process of unload_test.cpp: a host that links the plug-in instead of loading it with
// dlopen. Connects "b" and "a", subscribes an event of "a", then exits, with TearDown when its
// first argument is "teardown". The simulator writes the call log to ZRV_SIM_EXIT_LOG at exit.
#include <cstring>

#include "zarvo_bridging.h"

int main(int argc, char** argv) {
  const char* post = R"({"method":"post"})";
  ZarvoApplication(post, R"({"name":"b"})", "{}", "");
  ZarvoApplication(post, R"({"name":"a"})", "{}", "");
  ZarvoApplicationEvent(post, R"({"name":"a","type":"progress"})", "{}", "");
  if (argc > 1 && std::strcmp(argv[1], "teardown") == 0) {
    TearDown();
  }
  return 0;
}
