#ifndef LUMO_IQA_IQATEXT_H
#define LUMO_IQA_IQATEXT_H

#include <string>

namespace lumo_iqa {

// A JSON string literal, quotes included, for any bytes: valid UTF-8 is
// kept, quote and backslash are escaped, control characters become \u
// escapes, and each byte that is not part of a valid UTF-8 sequence becomes
// \ufffd (the replacement character), so the output always parses.
std::string JsonString(const std::string& bytes);

// Bytes made safe for a one-line message or the text header: backslash
// doubled, tab, line feed and carriage return as \t \n \r, other control
// characters as \xNN. Everything else, UTF-8 or not, is left as it is.
std::string OneLine(const std::string& bytes);

// 'bytes' in single quotes, made one line: how messages name a path or a
// value.
std::string Quoted(const std::string& bytes);

} // namespace lumo_iqa

#endif
