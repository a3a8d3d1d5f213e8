#include "pocketjson/parser.h"

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "pocketjson/internal/parse_scanners.h"
#include "pocketjson/internal/simd_scan.h"
#include "pocketjson/internal/small_stack.h"

namespace pocketjson {

namespace {

const char kUnexpectedCharacter[] = "Unexpected character exists while parsing.";
const char kInvalidBoolean[] = "Invalid boolean type string exists.";
const char kInvalidNull[] = "Invalid null type string exists.";
const char kArrayUnexpectedString[] = "Unexpected string exists while parsing array.";
const char kArrayUnexpectedComma[] = "Unexpected comma exists while parsing array.";
const char kObjectUnexpectedString[] = "Unexpected string exists while parsing object.";
const char kObjectUnexpectedComma[] = "Unexpected comma exists while parsing object.";
const char kHandlerCancelled[] = "SAX handler cancels parsing.";
const char kTrailingText[] = "Gabage string exists after json string.";

inline bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

// Skips a UTF-8 byte-order mark or any leading part of it: each of its three bytes is skipped
// when it is the next byte, independently of the ones before.
void skipByteOrderMark(const char*& p, const char* end) {
  if (p != end && static_cast<unsigned char>(*p) == 0xEF) ++p;
  if (p != end && static_cast<unsigned char>(*p) == 0xBB) ++p;
  if (p != end && static_cast<unsigned char>(*p) == 0xBF) ++p;
}

// Raw byte range of an iterator over std::string (empty range when it is at its end).
struct RawRange {
  const char* begin;
  const char* end;
};

RawRange rawRange(const Parser::TextIterator& iterator) {
  if (iterator.current == iterator.end) return {nullptr, nullptr};
  const char* p = &*iterator.current;
  return {p, p + (iterator.end - iterator.current)};
}

// The parse engine: one object per top-level call. It walks nested arrays and objects with an
// explicit stack of frames, so the native stack use does not depend on the nesting depth, and it
// reproduces a recursive-descent parser exactly: the same handler calls in the same order, the
// same leniencies and the same partial document on failure. The engine is itself the cursor that
// the string and number scanners read from (internal/parse_scanners.h).
//
// Document mode builds in place. An object member is inserted (when its key is new) before its
// value is parsed into the map slot. Array elements are parsed into slots of one pending stack
// shared by all open arrays and moved into an exactly sized vector when their array ends, or when
// the parse fails, so a failure leaves the same partial document. The result equals parsing
// into a fresh value and appending or inserting it afterwards, also when the value's parse fails:
// a failed array element stays in the array, and a failed object member stays in the object (the
// same rule for both kinds; the failure then propagates). Values of duplicate keys are parsed
// into a scratch value that is dropped, so the first occurrence wins.
class Engine : public detail::ParseCursor {
 public:
  enum class Start { kValue, kArray, kObject };

  Engine(std::string& error, AbstractParseHandler* handler, const ParseOption& option,
         const char* p, const char* end)
      : ParseCursor(p, end, error),
        handler_(handler),
        trailingComma_((option.flags & ParseOption::kAllowTrailingComma) != 0) {}

  bool run(Value* out, Start start);
  bool number(Value* target, bool documentMode);

 private:
  static constexpr size_t kNoIndex = ~size_t{0};

  struct Frame {
    Value* selfPointer;      // the value being filled when it has a stable address, else null
    size_t selfIndex;        // else its slot in `pending_` (document mode)
    size_t pendingStart;     // arrays: the first of this array's slots in `pending_`
    Value::Object* members;  // objects: the map once obtained (unshared), else null
    size_t count;            // elements or members completed
    bool isObject;
    Value* scratch;  // target for values of duplicate keys, once needed (scratchAt)
  };

  // The states of the walk. Each state is one member function that does its work and names the
  // state that follows; `walk` is the loop that runs them.
  enum class Step {
    kValue,        // a value starts here (whitespace first)
    kOpenArray,    // `p` stands on '['
    kNextElement,  // `p` stands on '[' or ','
    kOpenObject,   // `p` stands on '{'
    kNextMember,   // `p` stands on '{', ',' or a stray byte where a key was expected
    kValueDone,    // a value has been parsed: continue or close its container
    kFinished,     // the top-level value is complete
    kFailed,       // the message (if any) is set
  };

  // Where the next value goes, and how the walk reports what it reads.
  struct Cursor {
    bool documentMode;   // build the document into `target`
    bool events;         // no document: report to the handler
    Value* target;       // where the next value goes (document mode)
    size_t targetIndex;  // its slot in `pending_` when it is an array element, else kNoIndex
  };

  bool walk(Value* out, Start start);
  Step valueStep(Cursor& cursor);
  Step openArrayStep(Cursor& cursor);
  Step nextElementStep(Cursor& cursor);
  Step openObjectStep(Cursor& cursor);
  Step nextMemberStep(Cursor& cursor);
  Step valueDoneStep();
  bool stringValue(const Cursor& cursor);
  bool memberKey(Cursor& cursor);

  Value& self(Frame& frame) {
    return frame.selfPointer ? *frame.selfPointer : pending_[frame.selfIndex];
  }
  // Moves the array's pending elements into its vector.
  void flushArray(Frame& frame);

  // Failures are the rare way out of every state; `failed` is marked cold like `fail`, so that
  // the normal paths are laid out straight.
  bool cancel() { return fail(kHandlerCancelled); }
  [[gnu::cold]] Step failed(const char* message) {
    error = message;
    return Step::kFailed;
  }
  Step cancelled() { return failed(kHandlerCancelled); }
  // Compact text has no whitespace, so the first test usually answers; runs of indentation are
  // skipped sixteen bytes at a time.
  void skipSpace() {
    if (p != end && static_cast<unsigned char>(*p) <= ' ') p = detail::skipJsonSpace(p, end);
  }
  bool literal(const char* rest, size_t length) {
    if (static_cast<size_t>(end - p) <= length || std::memcmp(p + 1, rest, length) != 0) {
      return false;
    }
    p += length + 1;
    return true;
  }

  AbstractParseHandler* handler_;
  bool trailingComma_;
  detail::NumberReader numbers_;
  std::string text_;  // decoded string or key
  // Scratch values for duplicate keys, one per nesting level, made when first needed.
  Value* scratchAt(size_t level) {
    if (scratches_.size() <= level) scratches_.resize(level + 1);
    if (!scratches_[level]) scratches_[level].reset(new Value());
    return scratches_[level].get();
  }

  detail::SmallStack<Frame, 16> stack_;  // the open containers; no allocation for 16 levels
  std::vector<std::unique_ptr<Value>> scratches_;
  std::vector<Value> pending_;  // element slots of the open arrays, innermost last
};

void Engine::flushArray(Frame& frame) {
  const size_t count = pending_.size() - frame.pendingStart;
  if (count == 0) return;
  Value::Array& elements = self(frame).mutableArray();
  elements.reserve(elements.size() + count);
  for (size_t i = frame.pendingStart; i < pending_.size(); ++i) {
    elements.push_back(std::move(pending_[i]));
  }
  pending_.resize(frame.pendingStart);
}

bool Engine::run(Value* out, Start start) {
  if (walk(out, start)) return true;
  // Failure: hand every open array its elements, innermost first (an inner array's value may
  // itself sit in its parent's pending slots).
  while (!stack_.empty()) {
    if (!stack_.back().isObject) flushArray(stack_.back());
    stack_.pop_back();
  }
  return false;
}

// Entered on '-' or a digit; on success `p` stands behind the number.
bool Engine::number(Value* target, bool documentMode) {
  detail::ScannedNumber scanned;
  if (!numbers_.read(*this, scanned)) return false;
  if (scanned.isInteger) {
    if (documentMode) {
      *target = scanned.integer;
    } else if (handler_ && !handler_->onInteger(scanned.integer)) {
      return cancel();
    }
  } else if (documentMode) {
    *target = scanned.real;
  } else if (handler_ && !handler_->onFloat(scanned.real)) {
    return cancel();
  }
  return true;
}

// The driver: runs one state after the other until the walk finishes or fails. Nesting lives
// in `stack_`, never on the native stack.
bool Engine::walk(Value* out, Start start) {
  Cursor cursor{out != nullptr, out == nullptr && handler_ != nullptr, out, kNoIndex};
  Step step = start == Start::kArray    ? Step::kOpenArray
              : start == Start::kObject ? Step::kOpenObject
                                        : Step::kValue;
  for (;;) {
    switch (step) {
      case Step::kValue:
        step = valueStep(cursor);
        break;
      case Step::kOpenArray:
        step = openArrayStep(cursor);
        break;
      case Step::kNextElement:
        step = nextElementStep(cursor);
        break;
      case Step::kOpenObject:
        step = openObjectStep(cursor);
        break;
      case Step::kNextMember:
        step = nextMemberStep(cursor);
        break;
      case Step::kValueDone:
        step = valueDoneStep();
        break;
      case Step::kFinished:
        return true;
      case Step::kFailed:
        return false;
    }
  }
}

// Skips whitespace and reads a scalar, or hands an array or object to its opening state.
Engine::Step Engine::valueStep(Cursor& cursor) {
  skipSpace();
  if (p == end) return failed(kUnexpectedCharacter);
  switch (*p) {
    case '"':
      return stringValue(cursor) ? Step::kValueDone : Step::kFailed;
    case '{':
      return Step::kOpenObject;
    case '[':
      return Step::kOpenArray;
    case '-':
    case '0':
    case '1':
    case '2':
    case '3':
    case '4':
    case '5':
    case '6':
    case '7':
    case '8':
    case '9':
      return number(cursor.target, cursor.documentMode) ? Step::kValueDone : Step::kFailed;
    case 't':
      if (!literal("rue", 3)) return failed(kInvalidBoolean);
      if (cursor.documentMode) {
        *cursor.target = true;
      } else if (cursor.events && !handler_->onBool(true)) {
        return cancelled();
      }
      return Step::kValueDone;
    case 'f':
      if (!literal("alse", 4)) return failed(kInvalidBoolean);
      if (cursor.documentMode) {
        *cursor.target = false;
      } else if (cursor.events && !handler_->onBool(false)) {
        return cancelled();
      }
      return Step::kValueDone;
    case 'n':
      if (!literal("ull", 3)) return failed(kInvalidNull);
      if (cursor.documentMode) {
        *cursor.target = Value();
      } else if (cursor.events && !handler_->onNull()) {
        return cancelled();
      }
      return Step::kValueDone;
    default:
      return failed(kUnexpectedCharacter);
  }
}

// A string value; `p` stands on its opening quote.
bool Engine::stringValue(const Cursor& cursor) {
  if (cursor.documentMode) {
    // Fast path: no escape before the closing quote, so the text is taken in one piece.
    const char* q = detail::findQuoteOrBackslash(p + 1, end);
    if (q != end && *q == '"') {
      *cursor.target = std::string(p + 1, q);
      p = q + 1;
      return true;
    }
  }
  text_.clear();
  if (!detail::decodeString(*this, text_)) return false;
  if (cursor.documentMode) {
    *cursor.target = text_;
  } else if (cursor.events && !handler_->onString(text_)) {
    return cancel();
  }
  return true;
}

// `p` stands on '['. An existing array keeps its elements; the parsed ones are appended.
Engine::Step Engine::openArrayStep(Cursor& cursor) {
  if (cursor.documentMode) {
    cursor.target->setType(kArray);
  } else if (cursor.events && !handler_->onStartArray()) {
    return cancelled();
  }
  stack_.push_back(Frame{cursor.targetIndex == kNoIndex ? cursor.target : nullptr,
                         cursor.targetIndex, pending_.size(), nullptr, 0, false, nullptr});
  return Step::kNextElement;
}

// `p` stands on '[' or ','.
Engine::Step Engine::nextElementStep(Cursor& cursor) {
  ++p;
  if (p == end) {  // input ends after '[' or ',': the array so far is the result
    flushArray(stack_.back());
    stack_.pop_back();
    return Step::kValueDone;
  }
  skipSpace();
  if (p != end && *p == ']') {
    Frame& frame = stack_.back();
    if (frame.count != 0 && !trailingComma_) return failed(kArrayUnexpectedComma);
    if (handler_ && !handler_->onEndArray(frame.count)) return cancelled();
    ++p;
    flushArray(frame);
    stack_.pop_back();
    return Step::kValueDone;
  }
  if (cursor.documentMode) {
    cursor.targetIndex = pending_.size();
    pending_.emplace_back();
    cursor.target = &pending_.back();  // valid until `pending_` grows, i.e. until this value is set
  }
  return Step::kValue;
}

// `p` stands on '{'. An existing object keeps its members.
Engine::Step Engine::openObjectStep(Cursor& cursor) {
  if (cursor.documentMode) {
    if (cursor.target->type() != kObject) cursor.target->setType(kObject);
  } else if (cursor.events && !handler_->onStartObject()) {
    return cancelled();
  }
  stack_.push_back(Frame{cursor.targetIndex == kNoIndex ? cursor.target : nullptr,
                         cursor.targetIndex, pending_.size(), nullptr, 0, true, nullptr});
  return Step::kNextMember;
}

// `p` stands on '{', ',' or a stray byte where a key was expected.
Engine::Step Engine::nextMemberStep(Cursor& cursor) {
  ++p;
  if (p == end) {  // input ends after '{' or ',': the object so far is the result
    stack_.pop_back();
    return Step::kValueDone;
  }
  skipSpace();
  if (p == end) {  // whitespace up to the end where a key was expected: end the object here
    stack_.pop_back();
    return Step::kValueDone;
  }
  if (*p == '}') {
    Frame& frame = stack_.back();
    if (frame.count != 0 && !trailingComma_) return failed(kObjectUnexpectedComma);
    if (handler_ && !handler_->onEndObject(frame.count)) return cancelled();
    ++p;
    stack_.pop_back();
    return Step::kValueDone;
  }
  if (*p != '"') return Step::kNextMember;  // stray bytes where a key is expected are skipped
  return memberKey(cursor) ? Step::kValue : Step::kFailed;
}

// A member's key and ':'; `p` stands on the key's opening quote. In document mode the member's
// slot becomes the target of the value that follows.
bool Engine::memberKey(Cursor& cursor) {
  text_.clear();
  if (!detail::decodeString(*this, text_)) return false;
  if (handler_ && !handler_->onKey(text_)) return cancel();
  skipSpace();
  if (p == end || *p != ':') return fail(kObjectUnexpectedString);
  ++p;
  if (cursor.documentMode) {
    Frame& frame = stack_.back();
    if (!frame.members) frame.members = &self(frame).mutableObject();
    Value::Object& members = *frame.members;
    cursor.targetIndex = kNoIndex;
    // The end is the right hint when members arrive in ascending order; otherwise the map
    // searches as usual. An unchanged size means the key was already there.
    const size_t before = members.size();
    auto slot = members.try_emplace(members.end(), text_);
    if (members.size() != before) {
      cursor.target = &slot->second;
    } else {
      if (!frame.scratch) frame.scratch = scratchAt(stack_.size() - 1);
      cursor.target = frame.scratch;
    }
  }
  return true;
}

// A value (scalar or container) has been parsed successfully: the next element or member
// follows, or its container closes (and is in turn a completed value).
Engine::Step Engine::valueDoneStep() {
  if (stack_.empty()) return Step::kFinished;
  Frame& frame = stack_.back();
  ++frame.count;
  if (frame.scratch) *frame.scratch = Value();
  skipSpace();
  if (frame.isObject) {
    if (p == end || (*p != ',' && *p != '}')) return failed(kObjectUnexpectedString);
    if (*p == ',') return Step::kNextMember;
    if (handler_ && !handler_->onEndObject(frame.count)) return cancelled();
  } else {
    if (p == end || (*p != ',' && *p != ']')) return failed(kArrayUnexpectedString);
    if (*p == ',') return Step::kNextElement;
    if (handler_ && !handler_->onEndArray(frame.count)) return cancelled();
    flushArray(frame);
  }
  ++p;
  stack_.pop_back();
  return Step::kValueDone;
}

}  // namespace

bool Parser::tryParse(Value& out, const std::string& text, const ParseOption& option) {
  error_.clear();
  const char* p = text.data();
  const char* end = p + text.size();
  skipByteOrderMark(p, end);
  Engine engine(error_, nullptr, option, p, end);
  if (!engine.run(&out, Engine::Start::kValue)) return false;
  if (option.flags & ParseOption::kIgnoreTrailingText) return true;
  p = engine.p;
  while (p != end && isSpace(*p)) ++p;
  if (p != end && *p != '\0') {
    error_ = kTrailingText;
    return false;
  }
  return true;
}

std::string Parser::parse(Value& out, const std::string& text, const ParseOption& option) {
  tryParse(out, text, option);
  return error_;
}

bool Parser::parse(AbstractParseHandler& handler, const std::string& text,
                   const ParseOption& option) {
  error_.clear();
  const char* p = text.data();
  const char* end = p + text.size();
  skipByteOrderMark(p, end);
  Engine engine(error_, &handler, option, p, end);
  if (!engine.run(nullptr, Engine::Start::kValue)) return false;
  if (option.flags & ParseOption::kIgnoreTrailingText) return true;
  p = engine.p;
  while (p != end && isSpace(*p)) ++p;
  if (p != end && *p != '\0') {
    error_ = kTrailingText;
    return false;
  }
  return true;
}

bool Parser::validate(const std::string& text, const ParseOption& option) {
  error_.clear();
  const char* p = text.data();
  const char* end = p + text.size();
  skipByteOrderMark(p, end);
  Engine engine(error_, nullptr, option, p, end);
  if (!engine.run(nullptr, Engine::Start::kValue)) return false;
  if (option.flags & ParseOption::kIgnoreTrailingText) return true;
  p = engine.p;
  while (p != end && isSpace(*p)) ++p;
  if (p != end && *p != '\0') {
    error_ = kTrailingText;
    return false;
  }
  return true;
}

namespace {

// Runs `step` on the raw bytes of `iterator` and moves the iterator by what it consumed.
template <typename Step>
bool onRawRange(Parser::TextIterator& iterator, Step&& step) {
  const RawRange range = rawRange(iterator);
  const char* p = range.begin;
  const bool ok = step(p, range.end);
  iterator.current += (p - range.begin);
  return ok;
}

}  // namespace

bool Parser::parse_value(Value* out, AbstractParseHandler* handler, TextIterator& iterator,
                         const ParseOption& option) {
  return onRawRange(iterator, [&](const char*& p, const char* end) {
    Engine engine(error_, handler, option, p, end);
    const bool ok = engine.run(out, Engine::Start::kValue);
    p = engine.p;
    return ok;
  });
}

bool Parser::parse_value(Value* out, AbstractParseHandler* handler, RawIterator& iterator,
                         const ParseOption& option) {
  Engine engine(error_, handler, option, iterator.current, iterator.end);
  const bool ok = engine.run(out, Engine::Start::kValue);
  iterator.current = engine.p;
  return ok;
}

bool Parser::parse_array(Value* out, AbstractParseHandler* handler, TextIterator& iterator,
                         const ParseOption& option) {
  return onRawRange(iterator, [&](const char*& p, const char* end) {
    Engine engine(error_, handler, option, p, end);
    const bool ok = engine.run(out, Engine::Start::kArray);
    p = engine.p;
    return ok;
  });
}

bool Parser::parse_object(Value* out, AbstractParseHandler* handler, TextIterator& iterator,
                          const ParseOption& option) {
  return onRawRange(iterator, [&](const char*& p, const char* end) {
    Engine engine(error_, handler, option, p, end);
    const bool ok = engine.run(out, Engine::Start::kObject);
    p = engine.p;
    return ok;
  });
}

bool Parser::parse_string(std::string& result, TextIterator& iterator) {
  return onRawRange(iterator, [&](const char*& p, const char* end) {
    detail::ParseCursor in(p, end, error_);
    const bool ok = detail::decodeString(in, result);
    p = in.p;
    return ok;
  });
}

bool Parser::parse_hex(unsigned short& result, TextIterator& iterator) {
  return onRawRange(iterator, [&](const char*& p, const char* end) {
    detail::ParseCursor in(p, end, error_);
    unsigned unit = 0;
    const bool ok = detail::readHex(in, unit);
    if (ok) result = static_cast<unsigned short>(unit);
    p = in.p;
    return ok;
  });
}

bool Parser::parse_number(Value* out, AbstractParseHandler* handler, TextIterator& iterator) {
  return onRawRange(iterator, [&](const char*& p, const char* end) {
    Engine engine(error_, handler, ParseOption(), p, end);
    const bool ok = engine.number(out, out != nullptr);
    p = engine.p;
    return ok;
  });
}

}  // namespace pocketjson
