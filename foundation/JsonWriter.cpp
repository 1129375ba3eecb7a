#include "foundation/JsonWriter.h"

void appendJsonEscaped(Str& out, const Str& text)
{
    const std::size_t n = text.size();
    for (std::size_t i = 0; i < n; ++i) {
        const char c = text[i];
        // U+2028 and U+2029 end a line in script text, though not in JSON.
        if (c == '\xE2' && i + 2 < n && text[i + 1] == '\x80' && (text[i + 2] == '\xA8' || text[i + 2] == '\xA9')) {
            out += text[i + 2] == '\xA8' ? "\\u2028" : "\\u2029";
            i += 2;
            continue;
        }
        switch (c) {
        case '\t': out += "\\t"; break;
        case '\n': out += "\\n"; break;
        case '\f': out += "\\f"; break;
        case '\r': out += "\\r"; break;
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '<':
            // Keeps "</" of a closing tag out of embedded script text.
            out += (i + 1 < n && text[i + 1] == '/') ? "<\\" : "<";
            break;
        default:
            if (static_cast<unsigned char>(c) < 32) {
                out.appendFormat("\\u%04hx", static_cast<unsigned short>(c));
            } else {
                out += c;
            }
            break;
        }
    }
}

namespace {

void openMember(Str& out, const Str& indent, const Str& key)
{
    out += indent;
    out += '"';
    appendJsonEscaped(out, key);
    out += "\": ";
}

}  // namespace

void writeJsonString(Str& out, const Str& indent, const Str& key, const Str& value)
{
    openMember(out, indent, key);
    out += '"';
    appendJsonEscaped(out, value);
    out += "\",\n";
}

void writeJsonList(Str& out, const Str& indent, const Str& key, const std::vector<Str>& items)
{
    openMember(out, indent, key);
    out += '[';
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i != 0) {
            out += ", ";
        }
        out += '"';
        out += items[i];
        out += '"';
    }
    out += "],\n";
}

void writeJsonMapList(Str& out, const Str& indent, const Str& key, const std::vector<std::map<Str, Str>>& items)
{
    openMember(out, indent, key);
    out += "[\n";
    const Str entryIndent = indent + "\t  ";
    for (const auto& map : items) {
        out += indent;
        out += "\t{\n";
        for (const auto& [name, value] : map) {
            writeJsonString(out, entryIndent, name, value);
        }
        out += indent;
        out += "\t},\n";
    }
    out += indent;
    out += "],\n";
}
