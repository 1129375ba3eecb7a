#include "foundation/RetryReport.h"

Str RetryReport::toString() const
{
    Str out = operation;
    out += succeeded ? " succeeded in " : " failed in ";
    out.appendUnsigned(attempts);
    out += " attempt(s) made between ";
    out += first.toString();
    out += " and ";
    out += last.toString();
    if (!succeeded) {
        out += " [status code: ";
        out.appendUnsigned(status);
        out += ']';
    }
    return out;
}
