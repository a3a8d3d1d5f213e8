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
// with exit status 1; usage errors exit with status 2. The command line is declared with CLI11,
// which generates --help. The parser reports a lone low surrogate
// escape with an empty message, so the tool substitutes "invalid JSON" to keep the line useful.
// Single-threaded; owns nothing beyond its locals.
#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "pocketjson/parser.h"
#include "pocketjson/serializer.h"

namespace {

struct Options {
  bool pretty = false;
  unsigned optionBits = 0;
  std::string path = "-";  // "-": stdin
};

// Declares the command line; parses it. Returns the exit status to end with, or -1 to go on.
int parseCommandLine(int argc, char** argv, Options* options) {
  CLI::App app(
      "Reads JSON from FILE (or stdin when FILE is absent or \"-\") with pocketjson and writes it\n"
      "back compact (the default) or pretty.",
      "pjson");
  app.add_flag("--pretty", options->pretty,
               "indent with two blanks, one member or element per line");
  app.add_option("--options", options->optionBits,
                 "parse option bits: 1 allows a trailing comma, 2 ignores text after the "
                 "top-level value")
      ->type_name("N")
      ->check(CLI::Range(0U, 255U))
      ->capture_default_str();
  app.add_option("file", options->path, "the input (default: stdin)")->type_name("FILE");
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return 0;
  } catch (const CLI::ParseError& error) {
    std::cerr << "pjson: " << error.what() << "\nRun with --help for more information.\n";
    return 2;
  }
  return -1;
}

bool readAll(std::istream& in, std::string& text) {
  std::ostringstream buffer;
  buffer << in.rdbuf();
  text = buffer.str();
  return !in.bad();
}

// The input's bytes; false after reporting the problem.
bool readInput(const std::string& path, const std::string& name, std::string* text) {
  if (path == "-") {
    if (readAll(std::cin, *text)) return true;
    std::cerr << "pjson: " << name << ": read error\n";
    return false;
  }
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::cerr << "pjson: " << name << ": " << std::strerror(errno) << "\n";
    return false;
  }
  if (readAll(file, *text)) return true;
  std::cerr << "pjson: " << name << ": read error\n";
  return false;
}

// The value written back; false after reporting why it cannot be.
bool writeValue(const pocketjson::Value& value, bool pretty, const std::string& name) {
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
    return false;
  }
  out += '\n';
  std::fwrite(out.data(), 1, out.size(), stdout);
  if (std::fflush(stdout) != 0) {
    std::cerr << "pjson: write error\n";
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  const int status = parseCommandLine(argc, argv, &options);
  if (status >= 0) return status;
  const std::string name = options.path == "-" ? "stdin" : options.path;
  std::string text;
  if (!readInput(options.path, name, &text)) return 1;
  pocketjson::Value value;
  pocketjson::Parser parser;
  if (!parser.tryParse(value, text,
                       pocketjson::ParseOption(static_cast<uint8_t>(options.optionBits)))) {
    // The parser fails silently (empty message) on a lone low surrogate escape.
    const std::string& message = parser.error();
    std::cerr << "pjson: " << name << ": " << (message.empty() ? "invalid JSON" : message) << "\n";
    return 1;
  }
  return writeValue(value, options.pretty, name) ? 0 : 1;
}
