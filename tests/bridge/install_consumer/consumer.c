/* Compiles against the installed header only: the five entry points have the expected types. */
#include <zarvo_bridging.h>

typedef int (*ResourceFunction)(const char*, const char*, const char*, const char*);
typedef void (*TearDownFunction)(void);

ResourceFunction consumer_resources[4];
TearDownFunction consumer_tear_down;

void consumer_take_addresses(void) {
  consumer_resources[0] = ZarvoApplication;
  consumer_resources[1] = ZarvoApplicationBridge;
  consumer_resources[2] = ZarvoApplicationEvent;
  consumer_resources[3] = ZarvoApplicationCustom;
  consumer_tear_down = TearDown;
}
