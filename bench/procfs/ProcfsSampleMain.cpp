// procfs_sample SECONDS PATH...: collects the counter paths twice, SECONDS
// apart, and prints "path<TAB>instance<TAB>value" for each value, for
// comparison with other tools over the same interval.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "foundation/Str.h"
#include "pdh/procfs/ProcfsPdhProvider.h"

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s SECONDS PATH...\n", argv[0]);
        return 1;
    }
    ProcfsPdhProvider provider{ProcfsPdhProvider::Options()};
    PDH_HQUERY query = nullptr;
    provider.openQueryA(nullptr, 0, &query);
    std::vector<std::pair<std::string, PDH_HCOUNTER>> counters;
    for (int i = 2; i < argc; ++i) {
        PDH_HCOUNTER c = nullptr;
        const PDH_STATUS s = provider.addCounterW(query, Str(argv[i]).toWide().c_str(), 0, &c);
        if (s != 0) {
            std::fprintf(stderr, "%s: refused, 0x%x\n", argv[i], static_cast<unsigned>(s));
            continue;
        }
        counters.emplace_back(argv[i], c);
    }
    provider.collectQueryData(query);
    std::this_thread::sleep_for(std::chrono::duration<double>(std::atof(argv[1])));
    provider.collectQueryData(query);
    std::vector<char> buffer;
    for (const auto& [path, c] : counters) {
        DWORD size = 0, count = 0;
        if (provider.getFormattedCounterArrayW(c, PDH_FMT_DOUBLE, &size, &count, nullptr) !=
            static_cast<PDH_STATUS>(PDH_MORE_DATA)) {
            std::printf("%s\t\tinvalid\n", path.c_str());
            continue;
        }
        buffer.resize(size);
        auto* items = reinterpret_cast<PPDH_FMT_COUNTERVALUE_ITEM_W>(buffer.data());
        provider.getFormattedCounterArrayW(c, PDH_FMT_DOUBLE, &size, &count, items);
        for (DWORD i = 0; i < count; ++i) {
            const Str name = Str::fromWide(items[i].szName);
            if (items[i].FmtValue.CStatus == 0) {
                std::printf("%s\t%s\t%.6f\n", path.c_str(), name.c_str(), items[i].FmtValue.doubleValue);
            } else {
                std::printf("%s\t%s\tinvalid\n", path.c_str(), name.c_str());
            }
        }
    }
    return 0;
}
