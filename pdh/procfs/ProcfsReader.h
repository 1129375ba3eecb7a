#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Reads the small text files of /proc and /sys under a root directory, into
// one buffer that grows once and is reused, so that a sample allocates nothing
// once it has seen the largest file.
class ProcfsReader {
public:
    // root: the directory that stands for "/" ("" or "/" for the real one).
    explicit ProcfsReader(const std::string& root);

    // Reads root + path whole; the text stays valid until the next read. False
    // if the file can't be opened or read (gone, no permission, a directory).
    bool read(std::string_view path, std::string_view& text);
    // The same for /proc/<pid>/<file>.
    bool readPid(int pid, std::string_view file, std::string_view& text);

    // The numeric entries of /proc, ascending. False if /proc can't be listed.
    bool listPids(std::vector<int>& pids);
    // The names in root + path but "." and "..". False if it can't be listed.
    bool listDirectory(std::string_view path, std::vector<std::string>& names);
    // Entries of /proc/<pid>/fd, or -1 if it can't be listed.
    long countOpenFiles(int pid);
    // Size and space available to unprivileged users of the file system mounted
    // at root + mountPoint, in bytes.
    bool fileSystemSpace(std::string_view mountPoint, std::uint64_t& size, std::uint64_t& available);

private:
    const std::string& pathOf(std::string_view path);
    const std::string& pathOf(int pid, std::string_view file);
    bool readFile(const std::string& full, std::string_view& text);

    std::string root;
    std::string path;
    std::vector<char> buffer;
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
