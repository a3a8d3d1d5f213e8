// JSON text helpers of the reference host, thin wrappers over pocketjson.
//
// Design note
// -----------
// The host reads session scripts and the plug-in's answers with the project's own JSON library,
// so what it compares is exactly what the library produces and accepts. Parsing here is the
// strict top-level parse (text after the value is an error), which is what a script author
// expects from a malformed line. All functions are stateless and safe on any thread for values
// not shared with another thread.
//
// Failure: parse functions return false and leave an English message; serializing never fails
// for values that came from parsing (they hold no NaN or infinity).
#ifndef ZARVO_HOST_JSON_TEXT_H
#define ZARVO_HOST_JSON_TEXT_H

#include <string>

#include "pocketjson/value.h"

namespace zarvo_host {

// Parses the whole of `text` into `out`. False with `error` set when it is not one JSON value.
bool parseJson(const std::string& text, pocketjson::Value* out, std::string* error);
// The compact text of `value`: no blanks, object members in byte-wise key order.
std::string compactJson(const pocketjson::Value& value);
// `text` as a quoted, escaped JSON string.
std::string quoteJson(const std::string& text);
// Short name of a value's kind ("null", "boolean", "integer", "number", "string", "object",
// "array").
const char* kindName(const pocketjson::Value& value);

}  // namespace zarvo_host

#endif  // ZARVO_HOST_JSON_TEXT_H
