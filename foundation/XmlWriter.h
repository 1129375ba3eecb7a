#pragma once

#include <map>
#include <vector>

#include "foundation/Str.h"

// Writers of XML text for machine readers. Each appends to out and places
// indent first, so nested output needs no document object.

// One byte of an attribute or value; other control bytes become "\x%X".
void appendXmlEscaped(Str& out, char c);
// One byte of a list item; other control bytes become "\x%02X".
void appendXmlText(Str& out, char c);

// <key name="name">value</key>
void writeXmlKeyString(Str& out, const Str& indent, const Str& name, const Str& value);
// <key name="name">true</key> or false
void writeXmlKeyBool(Str& out, const Str& indent, const Str& name, bool value);
// A key holding <list> of <item> strings.
void writeXmlKeyList(Str& out, const Str& indent, const Str& name, const std::vector<Str>& items);
// A key holding <list> of <item><dict> with one string key per entry.
void writeXmlKeyMapList(Str& out, const Str& indent, const Str& name, const std::vector<std::map<Str, Str>>& items);
