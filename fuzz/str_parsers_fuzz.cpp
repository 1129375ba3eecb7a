// Feeds arbitrary bytes to Str's parsers and converters and checks the
// properties they promise, so that a finding is a wrong answer, not only a crash.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "foundation/Str.h"
#include "foundation/StrSegmentTokenAcceptor.h"

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

bool digitsOnlyAfterBlanks(const StrSegment& text)
{
    std::size_t i = text.findInClass(CharClass::whitespace, 0, false);
    if (i == StrSegment::npos)
        return false;
    if (text[i] == '+')
        ++i;
    if (i == text.size())
        return false;
    for (; i < text.size(); ++i)
        if (text[i] < '0' || text[i] > '9')
            return false;
    return true;
}

void checkNumbers(const StrSegment& text)
{
    std::uint64_t u = 0;
    if (text.parseUnsigned64(u)) {
        // Accepted decimal text is blanks, an optional sign and digits, and
        // the value survives a trip through its own text.
        require(digitsOnlyAfterBlanks(text));
        std::uint64_t again = 0;
        require(Str::fromUnsigned(u).parseUnsigned64(again) && again == u);
    }
    std::int64_t s = 0;
    if (text.parseSigned64(s)) {
        std::int64_t again = 0;
        require(Str::fromSigned(s).parseSigned64(again) && again == s);
    }
    std::uint32_t u32 = 0;
    if (text.parseUnsigned32(u32))
        require(text.parseUnsigned64(u) && u == u32);
    std::int16_t s16 = 0;
    if (text.parseSigned16(s16))
        require(text.parseSigned64(s) && s == s16);
    double d = 0;
    (void)text.parseDouble(d);
    bool b = false;
    (void)text.parseBool(b);
}

void checkSplit(const StrSegment& text)
{
    std::vector<StrSegment> tokens;
    acceptor_PopulateStrSegmentVector acceptor(tokens);
    text.split(acceptor, ';');
    if (text.empty()) {
        require(tokens.empty());
        return;
    }
    std::size_t separators = 0;
    for (char c : text)
        separators += c == ';';
    require(tokens.size() == separators + 1);
    // Joining the tokens with the separator gives the text back.
    Str joined;
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        if (i)
            joined += ';';
        joined.append(tokens[i].data(), tokens[i].size());
    }
    require(joined == text.view());
}

void checkText(const StrSegment& text)
{
    Str s(text.view());
    const bool valid = Str::isValidUtf8(text.data(), text.size());

    Str lower;
    s.toLower(lower);
    Str lowerTwice;
    lower.toLower(lowerTwice);
    require(lower == lowerTwice);
    require(Str::compareNoCase(s.data(), s.size(), lower.data(), lower.size()) == 0);

    if (valid) {
        // Valid UTF-8 survives the wide round trip exactly.
        require(Str::fromWide(s.toWide()) == s);
        Str encoded(s);
        encoded.urlEncode();
        require(encoded.urlDecode() && encoded == s);
    }

    Str cleaned(s);
    cleaned.cleanControlChars();
    for (char c : cleaned)
        require(c >= 32 && c <= 126);

    Str escaped;
    s.backslashEscape(escaped, '"');
    require(!escaped.empty() && escaped.back() == '"');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size > 4096)
        return 0;
    const StrSegment text(reinterpret_cast<const char*>(data), static_cast<std::uint32_t>(size));
    checkNumbers(text);
    checkSplit(text);
    checkText(text);
    return 0;
}
