#pragma once

#include <map>
#include <vector>

#include "foundation/Str.h"

// Writers of JSON members for machine readers. Each appends to out, places
// indent first, and leaves a trailing comma and newline for the caller to handle.

// The body of a JSON string, safe also inside an HTML script element.
void appendJsonEscaped(Str& out, const Str& text);

// "key": "value",
void writeJsonString(Str& out, const Str& indent, const Str& key, const Str& value);
// "key": ["a", "b"],  (items go out as they are)
void writeJsonList(Str& out, const Str& indent, const Str& key, const std::vector<Str>& items);
// "key": [ {...}, ... ],  one string member per map entry
void writeJsonMapList(Str& out, const Str& indent, const Str& key, const std::vector<std::map<Str, Str>>& items);
