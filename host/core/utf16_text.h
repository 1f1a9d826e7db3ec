// UTF-8 ↔ UTF-16 for the AEGP calls that take or give names as NUL-terminated UTF-16.
#pragma once
#include "hostapi/host_api.h"

#include <string>

namespace orbhost {

// Ill-formed input becomes U+FFFD rather than an error: names are for display.
std::u16string utf16FromUtf8(const std::string& text);
std::string utf8FromUtf16(const A_UTF16Char* text);   // up to the NUL; null gives ""

// The longest prefix of `text` that fits `bytes` bytes with its NUL and does not split a
// UTF-8 sequence.
std::string utf8Prefix(const std::string& text, std::size_t bytes);

} // namespace orbhost
