// The log configuration's line grammar, category specs and conversion
// patterns on arbitrary text.

#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>

#include "logging/Appender.h"
#include "logging/LogConfig.h"
#include "logging/Logger.h"
#include "logging/PatternLayout.h"

namespace {

Logger fuzzLogger("LogConfigFuzz", false, 60, 100);

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::map<Str, Pathname> variables{{"TOLVIK_HOME", Pathname::fromUtf8("/opt/tolvik")}};
    static const Pathname file = Pathname::fromUtf8("fuzz.cfg");
    std::string_view text(reinterpret_cast<const char*>(data), size);

    // The first byte picks whether a section is asked for.
    LogConfigParser parser(size > 0 && (data[0] & 1) != 0 ? "a" : nullptr, variables);
    parser.parse(file, text);
    parser.applySpecs();

    // The same text as a conversion pattern, rendered.
    PatternLayout layout(text);
    LogEvent event{Timeval::now(), &fuzzLogger, static_cast<std::int32_t>(size % 11) - 1};
    Str out;
    layout.render(out, event, Str("message"));
    return 0;
}
