#include "foundation/XmlWriter.h"

namespace {

// Answers true if c was one of the five markup characters or a kept byte.
bool appendXmlCommon(Str& out, char c)
{
    switch (c) {
    case '"': out += "&quot;"; return true;
    case '&': out += "&amp;"; return true;
    case '\'': out += "&apos;"; return true;
    case '<': out += "&lt;"; return true;
    case '>': out += "&gt;"; return true;
    case '\t':
    case '\n':
    case '\r': out += c; return true;
    default: break;
    }
    if (static_cast<unsigned char>(c) >= 32) {
        out += c;
        return true;
    }
    return false;
}

void appendEscapedString(Str& out, const Str& text)
{
    for (char c : text) {
        appendXmlEscaped(out, c);
    }
}

void openKey(Str& out, const Str& indent, const Str& name)
{
    out += indent;
    out += "<key name=\"";
    appendEscapedString(out, name);
    out += "\">";
}

}  // namespace

void appendXmlEscaped(Str& out, char c)
{
    if (!appendXmlCommon(out, c)) {
        out.appendFormat("\\x%X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    }
}

void appendXmlText(Str& out, char c)
{
    if (!appendXmlCommon(out, c)) {
        out.appendFormat("\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    }
}

void writeXmlKeyString(Str& out, const Str& indent, const Str& name, const Str& value)
{
    openKey(out, indent, name);
    appendEscapedString(out, value);
    out += "</key>\n";
}

void writeXmlKeyBool(Str& out, const Str& indent, const Str& name, bool value)
{
    openKey(out, indent, name);
    out += value ? "true" : "false";
    out += "</key>\n";
}

void writeXmlKeyList(Str& out, const Str& indent, const Str& name, const std::vector<Str>& items)
{
    openKey(out, indent, name);
    out += '\n';
    out += indent;
    out += "\t<list>\n";
    for (const Str& item : items) {
        out += indent;
        out += "\t\t<item>";
        for (char c : item) {
            appendXmlText(out, c);
        }
        out += "</item>\n";
    }
    out += indent;
    out += "\t</list>\n";
    out += indent;
    out += "</key>\n";
}

void writeXmlKeyMapList(Str& out, const Str& indent, const Str& name, const std::vector<std::map<Str, Str>>& items)
{
    openKey(out, indent, name);
    out += '\n';
    out += indent;
    out += "\t<list>\n";
    const Str entryIndent = indent + "\t\t\t\t";
    for (const auto& map : items) {
        out += indent;
        out += "\t\t<item>\n";
        out += indent;
        out += "\t\t\t<dict>\n";
        for (const auto& [key, value] : map) {
            writeXmlKeyString(out, entryIndent, key, value);
        }
        out += indent;
        out += "\t\t\t</dict>\n";
        out += indent;
        out += "\t\t</item>\n";
    }
    out += indent;
    out += "\t</list>\n";
    out += indent;
    out += "</key>\n";
}
