// pjson: read one JSON text with pocketjson and write it back, compact or pretty.
//
// Design note
// -----------
// A small command-line filter for looking at and normalising JSON the way the plug-in sees it:
// the input is parsed with pocketjson's document parser (with the caller's option bits), and the
// resulting value is written with pocketjson's serializer, so the output is exactly the text the
// library would produce (members in byte-wise key order, numbers with '.', '/' unescaped).
//
// Input is stdin, or one file named on the command line; it is read as raw bytes. Output goes to
// stdout followed by one newline. Failures go to stderr as "pjson: <file or stdin>: <message>"
// with exit status 1; usage errors exit with status 2. The parser reports a lone low surrogate
// escape with an empty message, so the tool substitutes "invalid JSON" to keep the line useful.
// Single-threaded; owns nothing beyond its locals.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"

namespace {

constexpr const char* kUsage =
    "usage: pjson [--pretty] [--options N] [FILE]\n"
    "\n"
    "Reads JSON from FILE (or stdin when FILE is absent or \"-\") with pocketjson and writes it\n"
    "back compact (the default) or pretty.\n"
    "\n"
    "  --pretty      indent with two blanks, one member or element per line\n"
    "  --options N   parse option bits (0..255): 1 allows a trailing comma,\n"
    "                2 ignores text after the top-level value; default 0\n"
    "  --help        print this text and exit\n";

int usageError(const std::string& message) {
  std::cerr << "pjson: " << message << "\n" << kUsage;
  return 2;
}

// Parses a decimal option value in 0..255; false on anything else.
bool parseOptionBits(const char* text, unsigned& bits) {
  if (text == nullptr || *text == '\0') return false;
  errno = 0;
  char* end = nullptr;
  unsigned long value = std::strtoul(text, &end, 10);
  if (errno != 0 || *end != '\0' || text[0] == '-' || value > 255) return false;
  bits = static_cast<unsigned>(value);
  return true;
}

bool readAll(std::istream& in, std::string& text) {
  std::ostringstream buffer;
  buffer << in.rdbuf();
  text = buffer.str();
  return !in.bad();
}

}  // namespace

int main(int argc, char** argv) {
  bool pretty = false;
  unsigned optionBits = 0;
  std::string path;  // empty: stdin
  bool havePath = false;

  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--help" || arg == "-h") {
      std::cout << kUsage;
      return 0;
    } else if (arg == "--pretty") {
      pretty = true;
    } else if (arg == "--options") {
      if (i + 1 >= argc || !parseOptionBits(argv[i + 1], optionBits)) {
        return usageError("--options needs a number from 0 to 255");
      }
      ++i;
    } else if (arg.compare(0, 10, "--options=") == 0) {
      if (!parseOptionBits(arg.c_str() + 10, optionBits)) {
        return usageError("--options needs a number from 0 to 255");
      }
    } else if (arg.size() > 1 && arg[0] == '-') {
      return usageError("unknown option '" + arg + "'");
    } else if (havePath) {
      return usageError("only one input file may be given");
    } else {
      havePath = true;
      if (arg != "-") path = arg;
    }
  }

  const std::string name = path.empty() ? "stdin" : path;
  std::string text;
  if (path.empty()) {
    if (!readAll(std::cin, text)) {
      std::cerr << "pjson: " << name << ": read error\n";
      return 1;
    }
  } else {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
      std::cerr << "pjson: " << name << ": " << std::strerror(errno) << "\n";
      return 1;
    }
    if (!readAll(file, text)) {
      std::cerr << "pjson: " << name << ": read error\n";
      return 1;
    }
  }

  pocketjson::Value value;
  pocketjson::Parser parser;
  if (!parser.tryParse(value, text, pocketjson::ParseOption(static_cast<uint8_t>(optionBits)))) {
    // The parser fails silently (empty message) on a lone low surrogate escape.
    const std::string& message = parser.error();
    std::cerr << "pjson: " << name << ": " << (message.empty() ? "invalid JSON" : message) << "\n";
    return 1;
  }

  pocketjson::Serializer::Attributes attributes;
  int depth = -1;
  if (pretty) {
    attributes.pretty = true;
    attributes.indentUnit = "  ";
    attributes.lineBreak = "\n";
    depth = 0;
  }
  std::string out;
  std::string error;
  if (!pocketjson::Serializer().serialize(out, value, attributes, depth, &error)) {
    // Only a NaN or infinite double fails (e.g. 1e999 parses to infinity); the text would be
    // truncated JSON, so nothing is written.
    std::cerr << "pjson: " << name << ": " << error << "\n";
    return 1;
  }
  out += '\n';
  std::fwrite(out.data(), 1, out.size(), stdout);
  if (std::fflush(stdout) != 0) {
    std::cerr << "pjson: write error\n";
    return 1;
  }
  return 0;
}
