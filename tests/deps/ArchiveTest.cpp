#include <archive.h>
#include <archive_entry.h>

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace {

using Files = std::map<std::string, std::string>;

// Writes a gzip-compressed tar (so zlib is exercised) into memory.
std::vector<char> writeTarGz(const Files& files) {
  std::vector<char> buffer(64 * 1024);
  size_t used = 0;
  archive* a = archive_write_new();
  EXPECT_EQ(ARCHIVE_OK, archive_write_set_format_pax_restricted(a));
  EXPECT_EQ(ARCHIVE_OK, archive_write_add_filter_gzip(a));
  EXPECT_EQ(ARCHIVE_OK, archive_write_open_memory(a, buffer.data(), buffer.size(), &used));
  for (const auto& [name, data] : files) {
    archive_entry* e = archive_entry_new();
    archive_entry_set_pathname(e, name.c_str());
    archive_entry_set_size(e, static_cast<la_int64_t>(data.size()));
    archive_entry_set_filetype(e, AE_IFREG);
    archive_entry_set_perm(e, 0644);
    EXPECT_EQ(ARCHIVE_OK, archive_write_header(a, e));
    EXPECT_EQ(static_cast<la_ssize_t>(data.size()), archive_write_data(a, data.data(), data.size()));
    archive_entry_free(e);
  }
  EXPECT_EQ(ARCHIVE_OK, archive_write_close(a));
  archive_write_free(a);
  buffer.resize(used);
  return buffer;
}

Files readBack(const std::vector<char>& bytes, std::string* filter) {
  Files out;
  archive* a = archive_read_new();
  archive_read_support_filter_all(a);
  archive_read_support_format_all(a);
  EXPECT_EQ(ARCHIVE_OK, archive_read_open_memory(a, bytes.data(), bytes.size()));
  archive_entry* e = nullptr;
  while (archive_read_next_header(a, &e) == ARCHIVE_OK) {
    std::string data(static_cast<size_t>(archive_entry_size(e)), '\0');
    EXPECT_EQ(static_cast<la_ssize_t>(data.size()), archive_read_data(a, data.data(), data.size()));
    out[archive_entry_pathname(e)] = data;
  }
  *filter = archive_filter_name(a, 0);
  archive_read_free(a);
  return out;
}

}  // namespace

TEST(Archive, TarGzRoundTripInMemory) {
  Files files{{"etc/perfmon.conf", "[collection]\ncounters = *\n"},
              {"var/log/tolvik/perfmon.log", std::string(20000, 'x')},
              {"empty", ""}};
  std::vector<char> bytes = writeTarGz(files);
  ASSERT_GE(bytes.size(), 2u);
  EXPECT_EQ('\x1f', bytes[0]);  // gzip magic
  EXPECT_EQ('\x8b', bytes[1]);
  EXPECT_LT(bytes.size(), 2000u);  // 20000 repeated bytes compress well

  std::string filter;
  EXPECT_EQ(files, readBack(bytes, &filter));
  EXPECT_EQ("gzip", filter);
}

TEST(Archive, GarbageIsNotAnArchive) {
  std::vector<char> garbage(512, '\x7f');
  archive* a = archive_read_new();
  archive_read_support_filter_all(a);
  archive_read_support_format_all(a);
  archive_entry* e = nullptr;
  int rc = archive_read_open_memory(a, garbage.data(), garbage.size());
  if (rc == ARCHIVE_OK) {
    rc = archive_read_next_header(a, &e);
  }
  EXPECT_EQ(ARCHIVE_FATAL, rc);
  archive_read_free(a);
}
