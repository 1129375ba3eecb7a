#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>

#include "logging/LogCapture.h"
#include "pipeline/input/ResultToMultikvStdout.h"
#include "pipeline/input/ResultToStdout.h"

namespace {

// Captures what an output writes, byte for byte, and how many writes it took.
class Capture {
public:
    Capture() : file(std::tmpfile()) {}
    ~Capture() { std::fclose(file); }
    std::FILE* get() { return file; }
    std::string text()
    {
        std::fflush(file);
        std::string out;
        std::rewind(file);
        char buffer[4096];
        std::size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, file)) > 0) {
            out.append(buffer, n);
        }
        return out;
    }

private:
    std::FILE* file;
};

const Str kTimestamp("\n11/14/2012 09:30:05.123 +0100\n");
const std::string kMarker = "\n---tolvik-perfmon-end-of-event---\n";

CounterEntry entry(const wchar_t* collection, const wchar_t* object, const wchar_t* counter,
                   const wchar_t* instance, const char* index = "main")
{
    CounterEntry e;
    e.collection = collection;
    e.object = object;
    e.counter = counter;
    e.instance = instance;
    e.index = index;
    return e;
}

}  // namespace

TEST(ResultToStdout, SingleEventBytes)
{
    Capture cap;
    ResultToStdout out(cap.get());
    EXPECT_EQ(out.isTable(), 0);
    double v = 97.5;
    out.addResult(entry(L"CPU", L"Processor", L"% Idle Time", L"_Total"), &v, kTimestamp);
    out.completeOutput();
    EXPECT_EQ(cap.text(), "***TOLVIK*** index=main source=\"Perfmon:CPU\" sourcetype=\"Perfmon:CPU\"\n" + kMarker +
                              "\n11/14/2012 09:30:05.123 +0100\ncollection=CPU\nobject=Processor\n"
                              "counter=\"% Idle Time\"\ninstance=_Total\nValue=97.5\n\n" + kMarker);
}

TEST(ResultToStdout, QuotingEmptyFieldsAndOddValues)
{
    Capture cap;
    ResultToStdout out(cap.get());
    // Array values: empty counter and index; a blank in collection and instance.
    double v = 0.1;
    out.addResult(entry(L"My CPU", L"Logical Disk", L"", L"C: 1,2", ""), &v, kTimestamp);
    std::string text = cap.text();
    EXPECT_EQ(text, "***TOLVIK*** index= source=\"Perfmon:My CPU\" sourcetype=\"Perfmon:My CPU\"\n" + kMarker +
                        "\n11/14/2012 09:30:05.123 +0100\ncollection=\"My CPU\"\nobject=\"Logical Disk\"\n"
                        "counter=\ninstance=\"C: 1,2\"\nValue=0.10000000000000000555\n\n" + kMarker);

    // No instance line at all; quotes inside a name are not escaped; UTF-8 out.
    Capture cap2;
    ResultToStdout out2(cap2.get());
    double inf = std::numeric_limits<double>::infinity();
    out2.addResult(entry(L"M\u00e9m", L"Memory", L"a\"b", L""), &inf, kTimestamp);
    text = cap2.text();
    EXPECT_NE(text.find("collection=M\xC3\xA9m\nobject=Memory\ncounter=a\"b\nValue=inf\n\n"), std::string::npos)
        << text;
    EXPECT_EQ(text.find("instance="), std::string::npos);
}

TEST(ResultToMultikvStdout, TableBytes)
{
    Capture cap;
    ResultToMultikvStdout out(cap.get());
    EXPECT_EQ(out.isTable(), 1);
    double idle0 = 97.5, user0 = 2.5, idleT = 96.25;
    out.addResult(entry(L"CPU", L"Processor", L"% Idle Time", L""), &idle0, kTimestamp);
    out.addResult(entry(L"CPU", L"Processor", L"% User Time", L""), &user0, kTimestamp);
    out.addResult(entry(L"CPU", L"Processor", L"% Idle Time", L"_Total"), &idleT, kTimestamp);
    out.completeOutput();
    EXPECT_EQ(cap.text(), "***TOLVIK*** index=main source=\"PerfmonMk:CPU\" sourcetype=\"PerfmonMk:CPU\"\n" + kMarker +
                              "\n11/14/2012 09:30:05.123 +0100\ncollection=CPU\ncategory=CPU\nobject=Processor\n"
                              "instance\t%_Idle_Time\t%_User_Time\t\n"
                              "0\t97.5\t2.5\t\n"
                              "_Total\t96.25\terror\t\n"
                              "\n" + kMarker);
}

TEST(ResultToMultikvStdout, RowOrderCleanNamesOverwritesAndOddValues)
{
    Capture cap;
    ResultToMultikvStdout out(cap.get());
    double zero = 0.0, one = 1.0, nan = std::nan(""), inf = -std::numeric_limits<double>::infinity();
    CounterEntry first = entry(L"My Disks", L"Logical Disk", L"Free, MB", L"a", "");
    first.category = L"disk space";
    out.addResult(first, &zero, kTimestamp);
    out.addResult(entry(L"ignored", L"ignored", L"Free, MB", L"_Total"), &one, Str("ignored"));
    out.addResult(entry(L"ignored", L"ignored", L"Free, MB", L"Z"), &nan, kTimestamp);
    out.addResult(entry(L"ignored", L"ignored", L"Free, MB", L"C: 1,2"), &zero, kTimestamp);
    // Array items share the empty counter and one instance: the last one wins.
    out.addResult(entry(L"x", L"x", L"", L"Z"), &one, kTimestamp);
    out.addResult(entry(L"x", L"x", L"", L"Z"), &inf, kTimestamp);
    out.completeOutput();
    EXPECT_EQ(cap.text(), "***TOLVIK*** index= source=\"PerfmonMk:My Disks\" sourcetype=\"PerfmonMk:My Disks\"\n" +
                              kMarker +
                              "\n11/14/2012 09:30:05.123 +0100\ncollection=My_Disks\ncategory=disk_space\n"
                              "object=Logical_Disk\n"
                              "instance\tFree__MB\t\t\n"
                              "C:_1_2\t0\terror\t\n"
                              "Z\tnan\t-inf\t\n"
                              "_Total\t1\terror\t\n"
                              "a\t0\terror\t\n"
                              "\n" + kMarker);
}

TEST(ResultToMultikvStdout, NoValueWritesNothing)
{
    LogCapture log;
    Capture cap;
    {
        ResultToMultikvStdout out(cap.get());
        out.completeOutput();
    }
    EXPECT_EQ(cap.text(), "");
    EXPECT_TRUE(log.contains("ResultToMultikvStdout::completeOutput: Empty event"));
}
