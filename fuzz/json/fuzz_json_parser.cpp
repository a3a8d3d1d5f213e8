// fuzz_json_parser: libFuzzer target for pocketjson's parser and serializer.
//
// Design note
// -----------
// Input layout: the first byte is a control byte, the rest is the JSON text.
//   bits 0..1  ParseOption bits (1: trailing comma allowed, 2: trailing text ignored)
//   bits 2..3  mode:
//                0  document, event and validation mode on the same text; all three must agree
//                   on success and message, and the value rebuilt from the events must serialize
//                   exactly as the document does;
//                1  event mode with a handler that cancels at event number (bits 4..7) + 1;
//                   a cancelled parse must fail with the cancellation message;
//                2  the value-level entry points (parse_value with a handler in document mode,
//                   parse_array / parse_object / parse_string / parse_number / parse_hex),
//                   chosen by bits 4..6 (see valueLevel), without the top-level checks;
//                3  document mode into a value that already holds an array or object, which the
//                   parser extends instead of replacing.
// Every mode also runs the document-mode round trip: for any text that parses, the compact text
// must parse strictly (option 0) and serialize to the same compact text again, and both pretty
// forms (indented at depth 0, and the one-line form at depth -1) must parse back to that same
// compact text. The generic iterator writer must produce the same text as the string fast path,
// and every number (those of the parsed tree, and the first eight text bytes read as a double
// and as an integer) must be written exactly as "%.17g" / "%lld" from the C library would write
// it. A property violation calls __builtin_trap so libFuzzer records the input.
//
// Nothing here recurses in proportion to nesting depth: the event-side rebuild uses an explicit
// stack, like the library itself. The target owns no state across inputs.
#include <cctype>
#include <clocale>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"

namespace {

using pocketjson::ParseOption;
using pocketjson::Parser;
using pocketjson::Serializer;
using pocketjson::Value;

const char kCancelMessage[] = "SAX handler cancels parsing.";

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "fuzz_json_parser: property violated: %s\n", what);
  __builtin_trap();
}

void check(bool condition, const char* what) {
  if (!condition) fail(what);
}

// Rebuilds a value from events (with the parser's own rules: first duplicate key wins, a
// container cut short by the end of the input still counts) and checks the counts reported
// by onEndArray/onEndObject against the events seen. Optionally cancels at one event.
class RebuildingHandler final : public pocketjson::AbstractParseHandler {
 public:
  explicit RebuildingHandler(size_t cancelAt = 0) : cancelAt_(cancelAt) {}

  bool onNull() override { return scalar(Value()); }
  bool onBool(const bool& value) override { return scalar(Value(value)); }
  bool onInteger(const int64_t& value) override { return scalar(Value(value)); }
  bool onFloat(const double& value) override { return scalar(Value(value)); }
  bool onString(const std::string& value) override { return scalar(Value(value)); }
  bool onStartArray() override {
    if (!event()) return false;
    open(pocketjson::kArray);
    return true;
  }
  bool onStartObject() override {
    if (!event()) return false;
    open(pocketjson::kObject);
    return true;
  }
  bool onKey(const std::string& key) override {
    if (!event()) return false;
    check(!stack_.empty() && stack_.back().value.isObject(), "onKey outside an object");
    check(!stack_.back().haveKey, "two onKey calls without a value between them");
    stack_.back().key = key;
    stack_.back().haveKey = true;
    return true;
  }
  bool onEndArray(const size_t& elementCount) override {
    if (!event()) return false;
    check(!stack_.empty() && stack_.back().value.isArray(), "onEndArray without an open array");
    check(stack_.back().count == elementCount, "onEndArray count differs from elements seen");
    close();
    return true;
  }
  bool onEndObject(const size_t& memberCount) override {
    if (!event()) return false;
    check(!stack_.empty() && stack_.back().value.isObject(), "onEndObject without an open object");
    check(!stack_.back().haveKey, "onEndObject right after onKey");
    check(stack_.back().count == memberCount, "onEndObject count differs from members seen");
    close();
    return true;
  }

  // The rebuilt top-level value; containers left open by a short input are closed here.
  Value finish() {
    while (!stack_.empty()) close();
    return std::move(root_);
  }
  bool cancelled() const { return cancelled_; }
  size_t events() const { return events_; }

 private:
  struct Frame {
    Value value;
    std::string key;
    bool haveKey = false;
    size_t count = 0;
  };

  bool event() {
    ++events_;
    if (cancelAt_ != 0 && events_ == cancelAt_) {
      cancelled_ = true;
      return false;
    }
    return true;
  }
  bool scalar(Value value) {
    if (!event()) return false;
    attach(std::move(value));
    return true;
  }
  void open(pocketjson::Type type) {
    Frame frame;
    frame.value.setType(type);
    stack_.push_back(std::move(frame));
  }
  void close() {
    Value done = std::move(stack_.back().value);
    stack_.pop_back();
    attach(std::move(done));
  }
  void attach(Value value) {
    if (stack_.empty()) {
      check(!haveRoot_, "a second top-level value was reported");
      root_ = std::move(value);
      haveRoot_ = true;
      return;
    }
    Frame& top = stack_.back();
    ++top.count;
    if (top.value.isArray()) {
      top.value.push_back(std::move(value));
    } else {
      check(top.haveKey, "a member value without onKey");
      top.haveKey = false;
      if (!top.value.has(top.key)) top.value[top.key] = std::move(value);
    }
  }

  std::vector<Frame> stack_;
  Value root_;
  bool haveRoot_ = false;
  size_t cancelAt_;
  size_t events_ = 0;
  bool cancelled_ = false;
};

// Document-mode handler: only onKey, onEndArray and onEndObject may arrive.
class DocumentModeHandler final : public pocketjson::AbstractParseHandler {
 public:
  bool onNull() override { fail("onNull in document mode"); }
  bool onBool(const bool&) override { fail("onBool in document mode"); }
  bool onInteger(const int64_t&) override { fail("onInteger in document mode"); }
  bool onFloat(const double&) override { fail("onFloat in document mode"); }
  bool onString(const std::string&) override { fail("onString in document mode"); }
  bool onStartArray() override { fail("onStartArray in document mode"); }
  bool onStartObject() override { fail("onStartObject in document mode"); }
  bool onKey(const std::string& key) override {
    keyBytes_ += key.size();
    return true;
  }
  bool onEndArray(const size_t& count) override {
    ends_ += count;
    return true;
  }
  bool onEndObject(const size_t& count) override {
    ends_ += count;
    return true;
  }

 private:
  size_t keyBytes_ = 0;
  size_t ends_ = 0;
};

std::string compact(const Value& value, bool* ok) {
  std::string out;
  *ok = Serializer().serialize(out, value, Serializer::Attributes(), -1, nullptr);
  return out;
}

// Deepest bracket nesting of a well-formed compact text (brackets inside strings skipped).
size_t nesting(const std::string& compactText) {
  size_t depth = 0;
  size_t deepest = 0;
  bool inString = false;
  for (size_t i = 0; i < compactText.size(); ++i) {
    const char c = compactText[i];
    if (inString) {
      if (c == '\\') {
        ++i;
      } else if (c == '"') {
        inString = false;
      }
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > deepest) deepest = depth;
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return deepest;
}

// The documented double text, computed the plain way: "0.0" for both zeros, "nan", "inf",
// "-inf" (not valid JSON, `*ok` false), else "%.17g" with the locale's decimal point as '.'.
std::string referenceDouble(double d, bool* ok) {
  uint64_t bits = 0;
  std::memcpy(&bits, &d, sizeof bits);
  *ok = true;
  if ((bits & 0x7fffffffffffffffULL) == 0) return "0.0";
  if (std::isnan(d)) {
    *ok = false;
    return "nan";
  }
  if (std::isinf(d)) {
    *ok = false;
    return d > 0 ? "inf" : "-inf";
  }
  char buffer[128] = {0};
  const int n = std::snprintf(buffer, 127, "%.17g", d);
  const char point = std::localeconv()->decimal_point[0];
  std::string text;
  for (int i = 0; i < n && i < 127; ++i) text += buffer[i] == point ? '.' : buffer[i];
  return text;
}

// Differential checks of the number formatting against the C library.
void checkDouble(double d) {
  bool refOk = false;
  const std::string want = referenceDouble(d, &refOk);
  bool ok = !refOk;
  check(pocketjson::Double(d).toString(&ok) == want && ok == refOk, "Double::toString text");
  std::string viaIterator;
  check(pocketjson::Double(d).toString(std::back_inserter(viaIterator)) == refOk &&
            viaIterator == want,
        "Double::toString(iterator) text");
  check(Value(d).toString("x") == want, "Value::toString of a double");
  std::string compactText;
  std::string error;
  const bool serialized =
      Serializer().serialize(compactText, Value(d), Serializer::Attributes(), -1, &error);
  check(serialized == refOk, "serialize result for a double");
  check(refOk ? compactText == want
              : (compactText.empty() && error == "Floating point is nan or inf."),
        "serialized double text");
}

void checkInteger(int64_t i) {
  char buffer[128] = {0};
  std::snprintf(buffer, 127, "%lld", static_cast<long long>(i));
  check(Value(i).toString("x") == buffer, "Value::toString of an integer");
  check(Serializer::compact(Value(i)) == buffer, "serialized integer text");
}

void checkNumbersFromBytes(const std::string& text) {
  if (text.size() < 8) return;
  double d = 0;
  int64_t i = 0;
  std::memcpy(&d, text.data(), sizeof d);
  std::memcpy(&i, text.data(), sizeof i);
  checkDouble(d);
  checkInteger(i);
}

// Every double and integer in a parsed tree, walked with an explicit stack.
void checkNumbersInTree(const Value& root) {
  std::vector<const Value*> pending{&root};
  while (!pending.empty()) {
    const Value* v = pending.back();
    pending.pop_back();
    if (v->isFloat()) {
      checkDouble(v->asFloat());
    } else if (v->isInteger()) {
      checkInteger(v->asInteger());
    } else if (v->isArray()) {
      for (const Value& e : v->asArray()) pending.push_back(&e);
    } else if (v->isObject()) {
      for (const auto& m : v->asObject()) pending.push_back(&m.second);
    }
  }
}

// The generic iterator writer and the string fast path must produce the same text.
void checkIteratorWriter(const Value& value, const Serializer::Attributes& attributes, int depth,
                         const std::string& fastText, bool fastOk) {
  std::string text;
  auto out = std::back_inserter(text);
  std::string error;
  const bool ok = Serializer().serialize(out, value, attributes, depth, &error);
  check(ok == fastOk && text == fastText, "iterator writer and string writer differ");
}

// The round trip through compact and both pretty forms. `value` parsed successfully.
void roundTrip(const Value& value) {
  bool ok = false;
  const std::string first = compact(value, &ok);
  std::string error;
  std::string pretty;
  Serializer::Attributes attributes;
  attributes.pretty = true;
  attributes.indentUnit = "  ";
  attributes.lineBreak = "\n";
  // Indented text grows with depth times size (quadratic for "[[[[...]]]]"); past a few
  // megabytes it only costs time, so very deep inputs skip the indented form.
  const bool indented = nesting(first) * first.size() <= (size_t{4} << 20);
  const bool prettyOk =
      indented ? Serializer().serialize(pretty, value, attributes, 0, &error) : ok;
  if (!indented) error = ok ? "" : "Floating point is nan or inf.";
  check(prettyOk == ok, "pretty and compact serialization disagree on success");
  std::string oneLine;
  check(Serializer().serialize(oneLine, value, attributes, -1, nullptr) == ok,
        "one-line pretty and compact serialization disagree on success");
  checkIteratorWriter(value, Serializer::Attributes(), -1, first, ok);
  checkIteratorWriter(value, attributes, -1, oneLine, ok);
  if (indented) checkIteratorWriter(value, attributes, 0, pretty, prettyOk);
  checkNumbersInTree(value);
  if (!ok) {
    // Only a NaN or an infinity (e.g. from 1e999) fails; the text is then truncated JSON.
    check(error == "Floating point is nan or inf.", "unexpected serializer error text");
    return;
  }

  Value again;
  Parser parser;
  check(parser.tryParse(again, first), "compact output does not parse strictly");
  const std::string second = compact(again, &ok);
  check(ok, "re-serialization failed");
  check(first == second, "compact -> parse -> compact is not stable");

  for (const std::string* text : {&pretty, &oneLine}) {
    if (text == &pretty && !indented) continue;
    Value fromPretty;
    check(parser.tryParse(fromPretty, *text), "pretty output does not parse strictly");
    check(compact(fromPretty, &ok) == first && ok, "pretty output parses to a different value");
  }
}

void allModes(const std::string& text, const ParseOption& option) {
  Value document;
  Parser documentParser;
  const bool documentOk = documentParser.tryParse(document, text, option);
  // The string-returning entry must report the same message.
  {
    Value other;
    Parser parser;
    check(parser.parse(other, text, option) == documentParser.error(),
          "parse() and tryParse() disagree");
  }

  RebuildingHandler handler;
  Parser eventParser;
  const bool eventOk = eventParser.parse(handler, text, option);
  Value rebuilt = handler.finish();

  Parser validator;
  const bool validOk = validator.validate(text, option);

  check(documentOk == eventOk, "document and event mode disagree on success");
  check(documentOk == validOk, "document and validation mode disagree on success");
  check(documentParser.error() == eventParser.error(), "document and event messages differ");
  check(documentParser.error() == validator.error(), "document and validation messages differ");
  check(documentOk || !documentParser.error().empty() || text.find("\\u") != std::string::npos,
        "a failure without a message (only a lone low surrogate may do that)");

  if (documentOk) {
    roundTrip(document);
    bool ok1 = false;
    bool ok2 = false;
    const std::string fromDocument = compact(document, &ok1);
    const std::string fromEvents = compact(rebuilt, &ok2);
    check(ok1 == ok2 && fromDocument == fromEvents, "events rebuild a different value");
  }
}

void cancellingEvents(const std::string& text, const ParseOption& option, size_t cancelAt) {
  RebuildingHandler handler(cancelAt);
  Parser parser;
  const bool ok = parser.parse(handler, text, option);
  if (handler.cancelled()) {
    check(!ok, "a cancelled parse succeeded");
    check(parser.error() == kCancelMessage, "a cancelled parse has the wrong message");
    check(handler.events() == cancelAt, "events arrived after the cancellation");
  }
  (void)handler.finish();
}

// The value-level entry points, each called only where its entry condition holds. Bits 4..5 of
// the control byte pick the entry: 0 parse_value (document mode with a handler, so only onKey,
// onEndArray and onEndObject may arrive); 1 the function that matches the first byte
// (parse_array, parse_object, parse_string or parse_number), with the event handler when bit 6
// is set and in document mode otherwise; 2 and 3 parse_hex.
void valueLevel(const std::string& text, const ParseOption& option, unsigned entry, bool events) {
  Value value;
  DocumentModeHandler documentHandler;
  RebuildingHandler eventHandler;
  Parser parser;
  Parser::TextIterator iterator(text.begin(), text.end());
  bool ok = false;
  if (entry == 0) {
    ok = parser.parse_value(&value, &documentHandler, iterator, option);
  } else if (entry == 1) {
    if (text.empty()) return;
    Value* out = events ? nullptr : &value;
    pocketjson::AbstractParseHandler* handler =
        events ? static_cast<pocketjson::AbstractParseHandler*>(&eventHandler) : &documentHandler;
    const char first = text[0];
    if (first == '[') {
      ok = parser.parse_array(out, handler, iterator, option);
    } else if (first == '{') {
      ok = parser.parse_object(out, handler, iterator, option);
    } else if (first == '"') {
      std::string decoded;
      ok = parser.parse_string(decoded, iterator);
      if (ok) value = decoded;
    } else if (first == '-' || (first >= '0' && first <= '9')) {
      ok = parser.parse_number(out, events ? handler : nullptr, iterator);
    } else {
      return;
    }
  } else {
    unsigned short unit = 0;
    ok = parser.parse_hex(unit, iterator);
    check(ok == (text.size() >= 4 && std::isxdigit(static_cast<unsigned char>(text[0])) &&
                 std::isxdigit(static_cast<unsigned char>(text[1])) &&
                 std::isxdigit(static_cast<unsigned char>(text[2])) &&
                 std::isxdigit(static_cast<unsigned char>(text[3]))),
          "parse_hex disagrees with the four-digit rule");
  }
  check(iterator.current >= text.begin() && iterator.current <= text.end(),
        "iterator left the input");
  check(ok || !parser.error().empty() || text.find("\\u") != std::string::npos,
        "a failure without a message (only a lone low surrogate may do that)");
  if (events) value = eventHandler.finish();
  if (!ok) return;
  bool serialized = false;
  const std::string text2 = compact(value, &serialized);
  if (nesting(text2) * text2.size() <= (size_t{4} << 20)) (void)Serializer::pretty(value);
}

void intoExistingValue(const std::string& text, const ParseOption& option, bool array) {
  Value value;
  if (array) {
    value.push_back(Value(int64_t{1}));
  } else {
    value["existing"] = "member";
  }
  Value sharedCopy = value;  // the parser must not change a container it shares
  Parser parser;
  const bool ok = parser.tryParse(value, text, option);
  bool serialized = false;
  check(compact(sharedCopy, &serialized) == (array ? "[1]" : "{\"existing\":\"member\"}"),
        "parsing into a value changed a copy that shared its container");
  if (ok) roundTrip(value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const uint8_t control = data[0];
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const ParseOption option(static_cast<uint8_t>(control & 3));
  checkNumbersFromBytes(text);

  switch ((control >> 2) & 3) {
    case 0:
      allModes(text, option);
      break;
    case 1:
      cancellingEvents(text, option, static_cast<size_t>(control >> 4) + 1);
      break;
    case 2:
      valueLevel(text, option, (control >> 4) & 3, (control & 0x40) != 0);
      break;
    default:
      intoExistingValue(text, option, (control & 0x10) != 0);
      break;
  }

  // The round trip holds for every mode's input.
  if ((control >> 2 & 3) != 0) {
    Value value;
    Parser parser;
    if (parser.tryParse(value, text, option)) roundTrip(value);
  }
  return 0;
}
