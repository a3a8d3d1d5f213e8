// Reading the JSON bodies and numbers of the hosts' protocols, strictly.
//
// Design note
// -----------
// Bodies are parsed with pocketjson (no native recursion, so any nesting depth is safe) and
// checked strictly: every member a message does not name, and every member of the wrong kind,
// is a problem reported by its name, so a typo never passes silently. A problem is one English
// text that a host sends back as a 400 "BadProtocolRequest" answer. The entry points take
// NUL-terminated texts, so a string that holds a NUL character is refused rather than cut.
//
// Threads: stateless; any thread.
#ifndef ZARVO_HOST_CORE_PROTOCOL_BODY_H
#define ZARVO_HOST_CORE_PROTOCOL_BODY_H

#include <cstdint>
#include <initializer_list>
#include <string>

#include "host_core/resource.h"
#include "pocketjson/value.h"

namespace host_core {

// `body` as a JSON object; else "request body is not valid JSON (<reason>)" or "request body is
// not a JSON object".
bool parseObjectBody(const std::string& body, pocketjson::Value* out, std::string* problem);
// Every member of `object` is one of `known`; else "unknown member '<key>'".
bool onlyMembers(const pocketjson::Value& object, std::initializer_list<const char*> known,
                 std::string* problem);
// `value` is a string without NUL; else "member '<key>' must be a string" or "member '<key>'
// contains a NUL character".
bool readString(const std::string& key, const pocketjson::Value& value, std::string* out,
                std::string* problem);
// Member `key` of `object` is present and a non-empty string; else "member '<key>' is required"
// or "member '<key>' must not be empty".
bool readNonEmpty(const std::string& key, const pocketjson::Value& object, std::string* out,
                  std::string* problem);
// The optional string members "options", "parameters", "extra", "body" of `object` (absent: the
// empty text); other members are not looked at.
bool readRequestTexts(const pocketjson::Value& object, RequestTexts* out, std::string* problem);
// A whole call body: an object with nothing but those four optional members.
bool parseResourceRequest(const std::string& body, RequestTexts* out, std::string* problem);
// A decimal number (digits only, at least one). Values too large for 64 bits become the largest
// value, which is beyond any real id or index.
bool parseDecimal(const std::string& text, uint64_t* out);

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_PROTOCOL_BODY_H
