#pragma once

#include <dirent.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

// Reads the small text files of /proc and /sys under a root directory, into
// one buffer that grows once and is reused, so that a sample allocates nothing
// once it has seen the largest file.
//
// On the real /proc and /sys the files stay open between reads and are read
// again from their start: the kernel writes their text afresh on each read, and
// the lookup of the path, the open and the close are most of what a sample of
// many processes costs. A file held for a process that has gone fails its read
// and is let go; so is one whose process is missing from a listing. Elsewhere
// (a directory of test files) every read opens and closes the file.
class ProcfsReader {
public:
    // root: the directory that stands for "/" ("" or "/" for the real one).
    explicit ProcfsReader(const std::string& root);
    ~ProcfsReader();
    ProcfsReader(const ProcfsReader&) = delete;
    ProcfsReader& operator=(const ProcfsReader&) = delete;

    // Reads root + path whole; the text stays valid until the next read. False
    // if the file can't be opened or read (gone, no permission, a directory).
    bool read(std::string_view path, std::string_view& text);
    // The same for /proc/<pid>/<file>.
    bool readPid(int pid, std::string_view file, std::string_view& text);

    // The numeric entries of /proc, ascending. False if /proc can't be listed.
    // Files held for processes that aren't listed are let go.
    bool listPids(std::vector<int>& pids);
    // The names in root + path but "." and "..". False if it can't be listed.
    bool listDirectory(std::string_view path, std::vector<std::string>& names);
    // Entries of /proc/<pid>/fd, or -1 if it can't be listed.
    long countOpenFiles(int pid);
    // Size and space available to unprivileged users of the file system mounted
    // at root + mountPoint, in bytes.
    bool fileSystemSpace(std::string_view mountPoint, std::uint64_t& size, std::uint64_t& available);

    // Closes every file held open.
    void release();
    // How many files are held open now.
    std::size_t heldFiles() const { return held; }

private:
    // The files held for one process: stat, status, io, comm and its fd directory.
    struct PidFiles {
        int files[4] = {-1, -1, -1, -1};
        DIR* fdDirectory = nullptr;
    };

    const std::string& pathOf(std::string_view path);
    const std::string& pathOf(int pid, std::string_view file);
    bool readFile(const std::string& full, std::string_view& text);
    // Reads an open file from its start.
    bool readOpen(int fd, std::string_view& text);
    // Reads through a held descriptor, opening it first if there is none and
    // the budget allows; a failed read lets it go and tries the path afresh.
    bool readHeld(int& fd, const std::string& full, std::string_view& text);
    // Whether the budget of files held by all readers has room for one more.
    bool mayHold() const;
    void noteHeld();
    // Lets go of a file read to an empty end.
    void keepIfFilled(int& fd, std::string_view text);
    // The entries of a held directory of open files, or -1.
    long countEntries(DIR* dir);
    void closeHeld(int& fd);
    void closeHeld(DIR*& dir);
    void closePid(PidFiles& files);

    std::string root;
    std::string path;
    std::vector<char> buffer;

    bool holdProc = false;       // root's /proc is the kernel's
    bool holdSys = false;        // root's /sys is the kernel's
    bool sizeCountsFds = false;  // stat() of /proc/<pid>/fd gives the count of open files
    std::size_t held = 0;
    std::size_t budget = 0;
    DIR* procDirectory = nullptr;
    // Looked up by the path's view, without making a string of it.
    struct PathHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view p) const { return std::hash<std::string_view>()(p); }
    };
    std::unordered_map<std::string, int, PathHash, std::equal_to<>> systemFiles;
    std::unordered_map<int, PidFiles> pidFiles;
};

// A cursor over the text of one file: numbers, words and lines.
class ProcfsScanner {
public:
    explicit ProcfsScanner(std::string_view text) : text(text) {}

    bool atEnd() const { return pos >= text.size(); }
    // Skips blanks (not newlines).
    void skipBlanks();
    // Moves past the next newline.
    void nextLine();
    // The next run of non-blank characters on this line; empty at the line's end.
    std::string_view word();
    // The next unsigned decimal number on this line; false (and 0) if there is none.
    bool number(std::uint64_t& out);
    // A decimal number with an optional fraction, as in /proc/uptime.
    bool decimal(double& out);
    // Skips n words.
    void skipWords(int n);
    // The rest of the text from here.
    std::string_view rest() const { return text.substr(pos); }
    void advance(std::size_t n) { pos = pos + n < text.size() ? pos + n : text.size(); }

private:
    std::string_view text;
    std::size_t pos = 0;
};

// "Key: number" lines of /proc/meminfo and /proc/<pid>/status: the number after
// key, or false if no line starts with it.
bool procfsField(std::string_view text, std::string_view key, std::uint64_t& out);
