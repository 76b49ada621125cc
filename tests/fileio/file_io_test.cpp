// SPDX-License-Identifier: MIT
#include "fileio/file_io.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "support/captured_stream.h"

namespace tarni {
namespace {

namespace fs = std::filesystem;
using Names = std::vector<std::string>;

constexpr char kSuccess[] = "Success: ReadFile - all characters read successfully.\n";

class FileIoTest : public testing::Test {
 protected:
  FileIoTest() {
    char name[] = "/tmp/tarni-fileio-XXXXXX";
    root = mkdtemp(name);
  }
  ~FileIoTest() override { fs::remove_all(root); }

  std::string path(const std::string& name) const { return root + "/" + name; }
  void put(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
  }
  std::string content(const std::string& name) const {
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static Names sorted(Names names) {
    std::sort(names.begin(), names.end());
    return names;
  }

  std::string root;
  test::CapturedStream out{1};
};

TEST_F(FileIoTest, SplitsAndCombinesPaths) {
  const std::string cases[][3] = {{"/sys/block/sda", "sda", "/sys/block"},
                                  {"/x", "x", ""},
                                  {"bare", "bare", "bare"},
                                  {"/a/b/", "", "/a/b"}};
  for (const auto& [whole, name, directory] : cases) {
    std::string input = whole;
    std::string got_name = "old";
    std::string got_directory = "old";
    File_IO::GetFileNameFromPath(input, got_name, got_directory);
    EXPECT_EQ(got_name, name);
    EXPECT_EQ(got_directory, directory);
  }
  EXPECT_TRUE(File_IO::EndsWithTail("abc", ""));
  EXPECT_TRUE(File_IO::EndsWithTail("abc", "bc"));
  EXPECT_FALSE(File_IO::EndsWithTail("c", "bc"));
  EXPECT_FALSE(File_IO::EndsWithTail("abC", "bc"));
  char buffer[256] = "old";
  EXPECT_FALSE(File_IO::PathCombineIfExists(buffer, 255, path("none").c_str(), "/x"));
  EXPECT_STREQ(buffer, "old");
  EXPECT_TRUE(File_IO::PathCombineIfExists(buffer, 255, root.c_str(), "x"));
  EXPECT_EQ(buffer, root + "x");
}

TEST_F(FileIoTest, ListsDirectories) {
  for (const char* name : {".a", ".ab", "x", "file.tail"}) put(name, "");
  fs::create_directory(path("dir-1-1"));
  fs::create_directory(path("other"));
  fs::create_directory_symlink(path("dir-1-1"), path("link"));
  fs::create_symlink(path("none"), path("dangling-1-1"));
  Names all = {"kept"};
  EXPECT_EQ(File_IO::ReadDirectory(root, all, nullptr, ""), 0);
  EXPECT_EQ(sorted(all),
            (Names{".ab", "dangling-1-1", "dir-1-1", "file.tail", "kept", "link", "other", "x"}));
  Names tails;
  EXPECT_EQ(File_IO::GetFilteredFileList(root, tails, ".tail"), 0);
  EXPECT_EQ(tails, Names{"file.tail"});
  Names directories;
  File_IO::GetSubDirectoryList(root, directories);
  EXPECT_FALSE(File_IO::FileExists(path("dangling-1-1").c_str()));
  EXPECT_EQ(sorted(directories), (Names{"dir-1-1", "link", "other"}));
  Names named;
  File_IO::FilterSubDirectoryList(root, "1-1", named);
  EXPECT_EQ(named, Names{"dir-1-1"});
  Names resolved;
  File_IO::FilterSubDirectoryFromSymlinks(root, "1-1", resolved);
  EXPECT_EQ(resolved, (Names{path("dir-1-1"), path("dir-1-1")}));
}

TEST_F(FileIoTest, GivesNoEntriesWhereThereIsNoDirectory) {
  put("file", "");
  Names names = {"kept"};
  EXPECT_EQ(File_IO::ReadDirectory(path("none"), names, nullptr, ""), 0);
  EXPECT_EQ(File_IO::ReadDirectory(path("file"), names, nullptr, ""), -1);
  File_IO::FilterSubDirectoryFromSymlinks(path("none"), "", names);
  EXPECT_EQ(names, Names{"kept"});
}

TEST_F(FileIoTest, CreatesDirectoriesWithTheirParents) {
  std::string deep = path("t/u/v");
  EXPECT_TRUE(File_IO::CreateDirectoryPath(deep));
  struct stat status;
  ASSERT_EQ(stat(path("t/u").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0700u);
  EXPECT_TRUE(File_IO::CreateDirectoryPath(deep));
  EXPECT_FALSE(File_IO::CreateDirectory(deep.c_str()));
  put("file", "");
  std::string below_file = path("file/x");
  EXPECT_FALSE(File_IO::CreateDirectoryPath(below_file));
}

// length and offset against a file of ten bytes; the last is whether the read
// was told as a success, which it is only where it did not meet the end.
TEST_F(FileIoTest, ReadsPartsOfFiles) {
  put("ten", "0123456789");
  const struct {
    unsigned int length, offset;
    std::string expected;
    bool told;
  } cases[] = {{100, 0, "0123456789", true},
               {10, 0, "0123456789", true},
               {4, 0, "0123", true},
               {4, 5, "5678", true},
               {4, 6, "6789", false},
               {4, 8, "89", false},
               {4, 20, "", false}};
  for (const auto& c : cases) {
    out.clear();
    std::string buffer(128, '#');
    const unsigned int count =
        File_IO::ReadFile(path("ten").c_str(), buffer.data(), c.length, c.offset);
    EXPECT_EQ(buffer, c.expected + std::string(128 - c.expected.size(), '#')) << c.offset;
    EXPECT_EQ(count, c.expected.size());
    EXPECT_EQ(out.text(), c.told ? kSuccess : "");
  }
  out.clear();
  char none[4];
  EXPECT_EQ(File_IO::ReadFile(path("none").c_str(), none, 4, 0), 0u);
  EXPECT_EQ(File_IO::ReadFile(root.c_str(), none, 4, 0), 0u);
  EXPECT_EQ(out.text(), "");
}

TEST_F(FileIoTest, ReadsBySplitPath) {
  put("ten", "0123456789");
  put("empty", "");
  char buffer[16];
  unsigned int count = 99;
  EXPECT_FALSE(File_IO::ReadFile(path("none").c_str(), "/ten", buffer, 16, &count));
  EXPECT_FALSE(File_IO::ReadFile(root.c_str(), std::string(300, 'x').c_str(), buffer, 16, &count));
  EXPECT_EQ(count, 99u);
  EXPECT_TRUE(File_IO::ReadFile(root.c_str(), "/ten", buffer, 16, &count));
  EXPECT_EQ(count, 10u);
  out.clear();
  EXPECT_FALSE(File_IO::ReadFile(root.c_str(), "/empty", buffer, 16, &count));
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(out.text(), kSuccess);
}

TEST_F(FileIoTest, WritesRemovesAndMeasuresFiles) {
  File_IO::WriteFile(path("a/b/c.txt").c_str(), "hello", 5);
  File_IO::WriteFile(path("a/b/c.txt").c_str(), "abc", 3);
  EXPECT_EQ(content("a/b/c.txt"), "abc");
  EXPECT_EQ(File_IO::GetFileSize(path("a/b/c.txt").c_str()), 3u);
  EXPECT_EQ(File_IO::GetFileSize(path("none").c_str()), 0u);
  EXPECT_FALSE(File_IO::WriteFile(path("none").c_str(), "/x", "d", 1));
  EXPECT_TRUE(File_IO::WriteFile(root.c_str(), "/x", "d", 1));
  EXPECT_EQ(content("x"), "d");
  EXPECT_TRUE(File_IO::RemoveFile(path("x").c_str()));
  EXPECT_TRUE(File_IO::RemoveFile(path("x").c_str()));
  EXPECT_EQ(out.text(), "");
  EXPECT_FALSE(File_IO::RemoveFile(path("a").c_str()));
  File_IO::SetFileAsExe(path("a/b/c.txt").c_str());
  EXPECT_EQ(access(path("a/b/c.txt").c_str(), X_OK), 0);
  File_IO::SetFileAsExe("");
  File_IO::WriteFile(nullptr, "d", 1);
  EXPECT_FALSE(File_IO::WriteFileChunks("", "d", 1, 1, true));
  EXPECT_EQ(out.text(), "Error deleting file\nFile_IO::SetFileAsExe Changed file " +
                            path("a/b/c.txt") +
                            " to exe\nFile_IO::SetFileAsExe - Error - fileName is NULL or empty"
                            "File_IO::WriteFile - Error - fileName is NULL or empty"
                            "File_IO::WriteFileChunks - Error - path is NULL or empty");
}

TEST_F(FileIoTest, StitchesChunksInOrder) {
  std::string large(std::size_t{3} * 65536, 'x');  // three blocks to the byte
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>('a' + i % 23);
  const std::string target = path("new/fw.bin");
  const auto size = static_cast<unsigned int>(large.size());
  EXPECT_TRUE(File_IO::WriteFileChunks(target.c_str(), large.data(), size, 1, false));
  EXPECT_EQ(content("new/fw.bin.1"), large);
  EXPECT_FALSE(fs::exists(target));
  EXPECT_TRUE(File_IO::WriteFileChunks(target.c_str(), "end", 3, 3, true));
  EXPECT_EQ(content("new/fw.bin"), large + "end");
  EXPECT_EQ(out.count(kSuccess), 4u);
  Names left;
  File_IO::GetFileList(path("new"), left);
  EXPECT_EQ(left, Names{"fw.bin"});
  File_IO::StitchFileChunks(target, 0);
  EXPECT_EQ(content("new/fw.bin"), "");
}

}  // namespace
}  // namespace tarni
