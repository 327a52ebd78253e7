#pragma once

// Splits a message that carries machine-readable attributes in front of its
// text, written as key={value} and separated by white space:
//
//   priority={1} entity={hf56} Cannot open the block
//
// gives the attributes priority = "1" and entity = "hf56" and the message
// "Cannot open the block". The attribute part ends at the first word that is
// not of the form key={...} (white space is not allowed around '=' or before
// '{'); from there on, everything is the message, verbatim. Values run to the
// first '}' and may hold white space but no '}'. Keys may be empty. When a key
// occurs twice, the first value counts.

#include <ut/ut_export.h>

#include "OdString.h"

#include <map>

namespace ut {

class UT_EXPORT CStringParser {
 public:
  using Attributes = std::map<OdString, OdString>;

  CStringParser() = default;

  // Forgets the attributes and the message.
  void init();

  // Parses `text`, replacing what an earlier parse found. False only when a
  // value is left unterminated (no '}'): the attributes before it are kept and
  // the message is that attribute's text up to the end ("key={value...").
  bool parse(const OdString& text);

  // The value of `key`; empty when the key is absent.
  OdString attribute(const OdString& key) const;
  const Attributes& attributes() const { return m_attributes; }
  // The text after the attributes.
  OdString message() const { return m_message; }

 private:
  Attributes m_attributes;
  OdString m_message;
};

}  // namespace ut
