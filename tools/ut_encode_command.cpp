// `ut encode`, `ut decode`: the library's text encodings (percent-encoding of
// the characters forbidden in names, base64, base64url); `ut uuid`: new or
// checked identifiers.

#include "ut_tool.h"

#include <ut/ut_encodings.h>
#include <ut/ut_strings.h>
#include <ut/ut_uuid.h>

#include <cstdio>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

namespace ut::tool {

namespace {

enum class EEncoding { ePercent, eBase64, eBase64Url };

struct CodecOptions {
  std::string encoding;
  std::optional<std::string> text;
};

struct UuidOptions {
  int count = 1;
  bool braced = false;
  std::optional<std::string> check;
};

EEncoding encodingOf(const std::string& name) {
  if (name == "percent") return EEncoding::ePercent;
  if (name == "base64") return EEncoding::eBase64;
  if (name == "base64url") return EEncoding::eBase64Url;
  throw UsageError("unknown encoding \"" + name + "\" (use percent, base64 or base64url)");
}

std::string input(const CodecOptions& o) {
  if (o.text && *o.text != "-") return *o.text;
  std::ostringstream content;
  content << std::cin.rdbuf();
  return content.str();
}

void write(const std::string& bytes) { std::fwrite(bytes.data(), 1, bytes.size(), stdout); }

// Text output ends with a line end, unless it brought its own.
void writeText(const std::string& text) {
  write(text);
  if (text.empty() || text.back() != '\n') std::fputc('\n', stdout);
}

// Base64 text is often wrapped into lines; the decoders stop at the first
// character outside the alphabet, so white space goes first.
std::string withoutWhiteSpace(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) {
    if (c != ' ' && c != '\t' && c != '\r' && c != '\n') out.push_back(c);
  }
  return out;
}

int runEncode(const CodecOptions& o) {
  const EEncoding encoding = encodingOf(o.encoding);
  const std::string data = input(o);
  switch (encoding) {
    case EEncoding::ePercent:
      writeText(ws2s(percentEncode(OdString(s2ws(data))).c_str()));
      break;
    case EEncoding::eBase64:
      writeText(base64_encode(data));
      break;
    case EEncoding::eBase64Url:
      writeText(base64Url_encode(data));
      break;
  }
  return eExitOk;
}

// Where a base64 decoder stops: the first character outside the alphabet
// (padding only at the end); npos when it reads everything.
std::size_t stopOf(const std::string& text, bool url) {
  const auto inAlphabet = [url](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           (url ? (c == '-' || c == '_') : (c == '+' || c == '/'));
  };
  std::size_t i = 0;
  while (i < text.size() && inAlphabet(text[i])) ++i;
  std::size_t end = i;
  while (end < text.size() && text[end] == '=') ++end;
  return end == text.size() ? std::string::npos : (text[i] == '=' ? end : i);
}

int runDecode(const CodecOptions& o) {
  const EEncoding encoding = encodingOf(o.encoding);
  const std::string data = input(o);
  if (encoding == EEncoding::ePercent) {
    writeText(ws2s(percentDecode(OdString(s2ws(data))).c_str()));
    return eExitOk;
  }
  const bool url = encoding == EEncoding::eBase64Url;
  const std::string text = withoutWhiteSpace(data);
  write(url ? base64Url_decode(text) : base64_decode(text));
  // The decoder gives what it read up to the stop; the tool says where that
  // was, so that a damaged input is not taken for a complete one.
  const std::size_t stop = stopOf(text, url);
  if (stop == std::string::npos) return eExitOk;
  std::fflush(stdout);
  std::fprintf(stderr, "ut: decoding stopped at character %zu (\"%c\", white space not counted): not %s\n", stop + 1,
               text[stop], url ? "base64url" : "base64");
  return eExitFailed;
}

int runUuid(const UuidOptions& o) {
  if (o.check) {
    Uuid id;
    if (!Uuid::parse(OdString(s2ws(*o.check)), id)) throw UsageError("not a UUID: \"" + *o.check + "\"");
    printLine((o.braced ? id.toBracedString() : id.toString()).c_str());
    return eExitOk;
  }
  if (o.count < 1) throw UsageError("the count must be at least 1");
  for (int i = 0; i < o.count; ++i) {
    const Uuid id = Uuid::generate();
    if (id.isNil()) throw OperationError("no random source for identifiers");
    printLine((o.braced ? id.toBracedString() : id.toString()).c_str());
  }
  return eExitOk;
}

void addCodec(CLI::App& app, Context& context, const char* name, const char* description, bool encode) {
  auto options = std::make_shared<CodecOptions>();
  CLI::App* command = app.add_subcommand(name, description);
  command->add_option("ENCODING", options->encoding, "percent, base64 or base64url")->required();
  command->add_option("TEXT", options->text,
                      "The text to convert; standard input (all of it, as bytes) when absent or -");
  command->callback([&context, options, encode] {
    context.action = [options, encode] { return encode ? runEncode(*options) : runDecode(*options); };
  });
}

}  // namespace

void addEncodeCommands(CLI::App& app, Context& context) {
  addCodec(app, context, "encode",
           "Encode text: percent (the characters forbidden in names, %\"*,/:;<=>?\\`|), base64 or base64url", true);
  addCodec(app, context, "decode",
           "Decode text: percent, base64 or base64url (white space in base64 input is ignored; bytes out)", false);

  auto uuid = std::make_shared<UuidOptions>();
  CLI::App* u = app.add_subcommand("uuid", "Print new random UUIDs, or check one and print its canonical form");
  u->add_option("-n,--count", uuid->count, "How many to print (default 1)")->type_name("N");
  u->add_flag("-b,--braced", uuid->braced, "Upper case in braces, as the registry writes them");
  u->add_option("-c,--check", uuid->check, "Check this UUID (with or without braces) instead")->type_name("UUID");
  u->callback([&context, uuid] { context.action = [uuid] { return runUuid(*uuid); }; });
}

}  // namespace ut::tool
