/* Shared by the two consumers: the entry point types and a response printer registered through
 * the stand-in host library's sink setter, found by name (NULL when that library is not the one
 * loaded; then nothing is printed). */
#ifndef CONSUMER_SUPPORT_H
#define CONSUMER_SUPPORT_H

#include <stdio.h>
#include <string.h>

typedef int (*ResourceFunction)(const char*, const char*, const char*, const char*);
typedef void (*TearDownFunction)(void);
typedef void (*ResponseSink)(int promiseId, int status, const char* json, void* userData);
typedef void (*SetResponseSink)(ResponseSink sink, void* userData);

static void consumer_print_response(int promiseId, int status, const char* json, void* userData) {
  (void)userData;
  printf("response %d %d %s\n", promiseId, status, json);
}

static void consumer_print_responses(void* setter_symbol) {
  SetResponseSink setter;
  if (setter_symbol == NULL) return;
  memcpy(&setter, &setter_symbol, sizeof setter);
  setter(consumer_print_response, NULL);
}

#endif
