// What the four resources share: how a request field is read, the errors every resource raises in
// the same words, and how a text coming back from an application is read.
//
// Field rule: a field is looked up with `get` (the shared null value when the holder is not an
// object or lacks the key) and read with `toString("")`: a string as it is, an integer as "%lld",
// a boolean as "true"/"false", a double by its text form; null, arrays and objects read as "".
//
// Threads: the functions keep no state; the answer reader runs on whatever thread the library
// calls back on.
#ifndef BRIDGE_RESOURCE_REQUEST_H
#define BRIDGE_RESOURCE_REQUEST_H

#include <string>

#include "bridge/bridge_result.h"
#include "pocketjson/value.h"

namespace zarvo {
class Application;
}  // namespace zarvo

namespace bridge {

// The text of member `key` of `holder`, "" when it has none.
std::string fieldText(const pocketjson::Value& holder, const std::string& key);

// 400 "BadRequestError" "URI parameter 'name' is empty."
[[noreturn]] void throwNameIsEmpty();
// 400 "BadRequestError" "Application instance is not existed."
[[noreturn]] void throwApplicationIsNotExisted();
// 500 "InternalError" "No response from the application."
[[noreturn]] void throwNoResponse();

// The application connected under `name`; throws throwApplicationIsNotExisted() when there is
// none. The reference stays valid until the name is disconnected or the registry cleared.
zarvo::Application& connectedApplication(const std::string& name);

// The URI parameter "name", then its connected application: the first two checks of every
// resource that talks to an application, in that order.
zarvo::Application& applicationNamedIn(const BridgeData& data);

// An answer or event payload text from the application, read leniently: a byte-order mark is
// skipped, a trailing comma accepted and text after the value ignored (ParseOption::kLenient). What
// the parser built stands even when the text is not valid JSON; the parse error is dropped.
pocketjson::Value readApplicationText(const char* json);

}  // namespace bridge

#endif  // BRIDGE_RESOURCE_REQUEST_H
