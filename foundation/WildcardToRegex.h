#pragma once

#include "foundation/Str.h"

// Rewrites a simple wildcard pattern over backslash-separated paths as a
// regular expression, in place: "*" matches within one component, "..."
// across components, "." is literal. With escapeBackslash a backslash is
// doubled. Answers true if anything was rewritten.
bool wildcardToRegex(Str& text, bool escapeBackslash);
