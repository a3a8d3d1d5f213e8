// fs::Path: a normalised path text.
//
// Design note
// -----------
// A Path is a value that owns one byte string, the path text. It knows nothing about components
// or about the file system: it never checks that a file exists. Construction from a text applies
// exactly two rules, in this order:
//   1. one trailing separator ('/' or '\', either counts) is removed, so "/tmp//" becomes "/tmp/"
//      and a lone "/" becomes the empty text;
//   2. every foreign separator text is replaced by the native one. On this platform both are "/",
//      so the replacement is skipped and a backslash inside the text is kept ("C:\dir\" gives
//      "C:\dir").
// Joining appends "/" and a relative part (which loses one leading separator first) and
// constructs the result with the rules above; the base is not examined, so a base that still
// ends in a separator yields a doubled one.
//
// The class has a virtual destructor so that it can serve as a polymorphic base; that is its only
// virtual operation.
//
// Threads: a Path is a plain value; distinct objects may be used from any thread.
// Failure: nothing fails except memory exhaustion (std::bad_alloc).
#ifndef ZARVO_FS_PATH_H
#define ZARVO_FS_PATH_H

#include <string>

namespace fs {

class Path {
 public:
  // The separator this platform writes, and the one it converts from.
  static const char kNativeSeparator[];
  static const char kForeignSeparator[];

  // The empty path.
  Path() = default;
  // Applies the construction rules of the design note to `text`.
  explicit Path(const std::string& text);
  explicit Path(const char* text);
  Path(const Path&) = default;
  Path(Path&&) noexcept = default;
  Path& operator=(const Path&) = default;
  Path& operator=(Path&&) noexcept = default;
  virtual ~Path() = default;

  // A path holding `text` exactly as given, without the construction rules.
  static Path verbatim(std::string text);

  // The path text.
  const std::string& text() const noexcept { return text_; }
  // The same text (alias for callers that expect the std::filesystem spelling).
  const std::string& str() const noexcept { return text_; }
  // True when the text is empty.
  bool empty() const noexcept { return text_.empty(); }

  // This path + "/" + `part` (one leading separator of `part` dropped), constructed anew.
  Path join(const std::string& part) const;
  // Same as join().
  Path operator/(const std::string& part) const { return join(part); }

  friend bool operator==(const Path& a, const Path& b) { return a.text_ == b.text_; }
  friend bool operator!=(const Path& a, const Path& b) { return a.text_ != b.text_; }

 private:
  std::string text_;
};

}  // namespace fs

#endif  // ZARVO_FS_PATH_H
