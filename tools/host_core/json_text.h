// JSON text helpers shared by the hosts, thin wrappers over pocketjson.
//
// Design note
// -----------
// The hosts read scripts, protocol messages and the plug-in's answers with the project's own JSON
// library, so what they compare is exactly what the library produces and accepts. Parsing here is
// the strict top-level parse (text after the value is an error). All functions are stateless and
// safe on any thread for values not shared with another thread.
//
// Failure: parse functions return false and leave an English message; serializing never fails
// for values that came from parsing (they hold no NaN or infinity).
#ifndef ZARVO_HOST_CORE_JSON_TEXT_H
#define ZARVO_HOST_CORE_JSON_TEXT_H

#include <string>

#include "pocketjson/value.h"

namespace host_core {

// Parses the whole of `text` into `out`. False with `error` set when it is not one JSON value.
bool parseJson(const std::string& text, pocketjson::Value* out, std::string* error);
// The compact text of `value`: no blanks, object members in byte-wise key order.
std::string compactJson(const pocketjson::Value& value);
// `text` as a quoted, escaped JSON string.
std::string quoteJson(const std::string& text);
// Appends `text` as a quoted, escaped JSON string to `out`.
void appendQuotedJson(std::string* out, const std::string& text);
// Short name of a value's kind ("null", "boolean", "integer", "number", "string", "object",
// "array").
const char* kindName(const pocketjson::Value& value);

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_JSON_TEXT_H
