// The scratch file: what is appended reads back at any offset, clearing
// starts it over, and it is made in $TMPDIR without leaving a name there.
#include "base/scratch_file.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

TEST(ScratchFile, ReadsBackWhatWasAppendedAndLeavesNoName) {
  char dir[] = "/tmp/scratch-test-XXXXXX";
  ASSERT_NE(::mkdtemp(dir), nullptr);
  ::setenv("TMPDIR", dir, 1);
  {
    ScratchFile file;
    file.append("hello ", 6);
    file.append("world", 5);
    EXPECT_EQ(file.size(), 11u);
    char piece[4] = {};
    file.readAt(piece, 4, 4);
    EXPECT_EQ(std::string(piece, 4), "o wo");
    const std::vector<unsigned char> all = file.readAll();
    EXPECT_EQ(std::string(all.begin(), all.end()), "hello world");
    file.clear();
    file.append("new", 3);
    const std::vector<unsigned char> again = file.readAll();
    EXPECT_EQ(std::string(again.begin(), again.end()), "new");
    DIR* listing = ::opendir(dir);
    int names = 0;
    while (const dirent* entry = ::readdir(listing)) names += entry->d_name[0] != '.';
    ::closedir(listing);
    EXPECT_EQ(names, 0);
  }
  ::unsetenv("TMPDIR");
  EXPECT_EQ(::rmdir(dir), 0);
}

TEST(ScratchFile, ReadExactlySaysWhenTheFileIsShort) {
  const int fd = ::open("/proc/self/exe", O_RDONLY);
  const off_t size = ::lseek(fd, 0, SEEK_END);
  unsigned char bytes[8] = {};
  EXPECT_EQ(readExactly(fd, bytes, 4, 0), 0);
  EXPECT_EQ(std::string(bytes + 1, bytes + 4), "ELF");
  EXPECT_EQ(readExactly(fd, bytes, 8, static_cast<std::uint64_t>(size) - 4), EIO);
  ::close(fd);
}
