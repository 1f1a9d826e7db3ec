#include "host/core/utf16_text.h"

namespace orbhost {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Decodes one code point at text[i], advancing i; malformed bytes give U+FFFD.
char32_t decodeUtf8(const std::string& text, std::size_t& i)
{
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char lead = byte(i++);
    if (lead < 0x80)
        return lead;
    const int extra = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : -1;
    if (extra < 0 || lead > 0xF4)
        return kReplacement;
    char32_t code = lead & (0x3F >> extra);
    for (int k = 0; k < extra; ++k) {
        if (i >= text.size() || (byte(i) & 0xC0) != 0x80)
            return kReplacement;
        code = (code << 6) | (byte(i++) & 0x3F);
    }
    return code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF) ? kReplacement : code;
}

void encodeUtf8(char32_t code, std::string& out)
{
    if (code < 0x80) {
        out += char(code);
    } else if (code < 0x800) {
        out += char(0xC0 | (code >> 6));
        out += char(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += char(0xE0 | (code >> 12));
        out += char(0x80 | ((code >> 6) & 0x3F));
        out += char(0x80 | (code & 0x3F));
    } else {
        out += char(0xF0 | (code >> 18));
        out += char(0x80 | ((code >> 12) & 0x3F));
        out += char(0x80 | ((code >> 6) & 0x3F));
        out += char(0x80 | (code & 0x3F));
    }
}

} // namespace

std::u16string utf16FromUtf8(const std::string& text)
{
    std::u16string out;
    for (std::size_t i = 0; i < text.size();) {
        const char32_t code = decodeUtf8(text, i);
        if (code < 0x10000) {
            out += char16_t(code);
        } else {
            out += char16_t(0xD800 + ((code - 0x10000) >> 10));
            out += char16_t(0xDC00 + ((code - 0x10000) & 0x3FF));
        }
    }
    return out;
}

std::string utf8FromUtf16(const A_UTF16Char* text)
{
    std::string out;
    for (std::size_t i = 0; text && text[i]; ++i) {
        char32_t code = text[i];
        if (code >= 0xD800 && code <= 0xDBFF && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
            code = 0x10000 + ((code - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        } else if (code >= 0xD800 && code <= 0xDFFF) {
            code = kReplacement;
        }
        encodeUtf8(code, out);
    }
    return out;
}

std::string utf8Prefix(const std::string& text, std::size_t bytes)
{
    if (bytes == 0)
        return {};
    std::size_t end = std::min(text.size(), bytes - 1);
    // Back up over continuation bytes so that the cut falls between sequences.
    if (end < text.size())
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
            --end;
    return text.substr(0, end);
}

} // namespace orbhost
