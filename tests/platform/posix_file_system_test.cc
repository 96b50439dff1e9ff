#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "pelorin/platform/file_system.h"
#include "pelorin/platform/headless.h"
#include "support/temp_folder.h"
#include "support/test_platform.h"

namespace pelorin::platform {
namespace {

using pelorin::testing::TempFolder;
using pelorin::testing::TestPlatform;

int modeOf(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return -1;
  return static_cast<int>(info.st_mode & 07777);
}

bool exists(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0;
}

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream buffer;
  buffer << in.rdbuf();
  return buffer.str();
}

void plant(const std::string& path, const std::string& contents) {
  std::ofstream(path, std::ios::binary) << contents;
}

std::vector<std::string> namesIn(FileSystem& files, const std::string& folder) {
  std::vector<std::string> names;
  EXPECT_TRUE(files.listDirectory(folder, &names).isOk());
  return names;
}

TEST(PosixFileSystemTest, DocumentsDirectoryIsTheGivenFolderCreatedPrivate) {
  TempFolder temp;
  PosixFileSystem files(temp / "a/b");

  std::string path;
  ASSERT_TRUE(files.documentsDirectory(&path).isOk());

  EXPECT_EQ(path, temp / "a/b");
  EXPECT_EQ(modeOf(temp / "a"), 0700);
  EXPECT_EQ(modeOf(temp / "a/b"), 0700);
}

TEST(PosixFileSystemTest, DefaultFolderIsXdgDataHomeAndBundleIdentifier) {
  TestPlatform platform;
  TempFolder temp;
  platform.bundle().set("CFBundleIdentifier", JsonValue("com.example.shop"));
  ::setenv("XDG_DATA_HOME", temp.path().c_str(), 1);

  PosixFileSystem files;
  std::string path;
  ASSERT_TRUE(files.documentsDirectory(&path).isOk());

  EXPECT_EQ(path, temp / "com.example.shop");
  EXPECT_EQ(modeOf(path), 0700);
}

TEST(PosixFileSystemTest, DefaultFolderFallsBackToHomeLocalShare) {
  TestPlatform platform;
  TempFolder temp;
  platform.bundle().set("CFBundleIdentifier", JsonValue("com.example.shop"));
  ::unsetenv("XDG_DATA_HOME");
  ::setenv("HOME", temp.path().c_str(), 1);

  PosixFileSystem files;
  std::string path;
  ASSERT_TRUE(files.documentsDirectory(&path).isOk());

  EXPECT_EQ(path, temp / ".local/share/com.example.shop");
}

TEST(PosixFileSystemTest, RelativeXdgDataHomeIsIgnored) {
  TestPlatform platform;
  TempFolder temp;
  platform.bundle().set("CFBundleIdentifier", JsonValue("app"));
  ::setenv("XDG_DATA_HOME", "relative/data", 1);
  ::setenv("HOME", temp.path().c_str(), 1);

  PosixFileSystem files;
  std::string path;
  ASSERT_TRUE(files.documentsDirectory(&path).isOk());

  EXPECT_EQ(path, temp / ".local/share/app");
}

TEST(PosixFileSystemTest, DefaultFolderWithoutBundleIdentifierUsesFixedName) {
  TestPlatform platform;
  TempFolder temp;
  ::setenv("XDG_DATA_HOME", temp.path().c_str(), 1);

  PosixFileSystem files;
  std::string path;
  ASSERT_TRUE(files.documentsDirectory(&path).isOk());

  EXPECT_EQ(path, temp / "pelorin-app");
}

TEST(PosixFileSystemTest, BundleIdentifierThatNamesNoSingleFolderUsesFixedName) {
  TestPlatform platform;
  TempFolder temp;
  ::setenv("XDG_DATA_HOME", temp.path().c_str(), 1);

  for (const char* identifier : {"../escape", "a/b", "..", ".", ""}) {
    platform.bundle().set("CFBundleIdentifier", JsonValue(identifier));
    PosixFileSystem files;
    std::string path;
    ASSERT_TRUE(files.documentsDirectory(&path).isOk()) << identifier;
    EXPECT_EQ(path, temp / "pelorin-app") << identifier;
  }
  platform.bundle().set("CFBundleIdentifier", JsonValue(42));
  PosixFileSystem files;
  std::string path;
  ASSERT_TRUE(files.documentsDirectory(&path).isOk());
  EXPECT_EQ(path, temp / "pelorin-app");
}

TEST(PosixFileSystemTest, NoXdgDataHomeAndNoHomeIsAnError) {
  TestPlatform platform;
  ::unsetenv("XDG_DATA_HOME");
  ::unsetenv("HOME");

  PosixFileSystem files;
  std::string path = "unchanged";
  FileStatus status = files.documentsDirectory(&path);

  EXPECT_EQ(status.code(), FileStatus::Code::kIoError);
  EXPECT_EQ(status.message(), "no data folder: neither XDG_DATA_HOME nor HOME is set");
  EXPECT_EQ(path, "unchanged");
}

TEST(PosixFileSystemTest, CreateDirectoriesAcceptsAnExistingFolder) {
  TempFolder temp;
  PosixFileSystem files(temp.path());

  EXPECT_TRUE(files.createDirectories(temp / "x").isOk());
  EXPECT_TRUE(files.createDirectories(temp / "x").isOk());
  EXPECT_TRUE(files.createDirectories(temp / "x/").isOk());
  EXPECT_EQ(modeOf(temp / "x"), 0700);
}

TEST(PosixFileSystemTest, CreateDirectoriesThroughAFileFails) {
  TempFolder temp;
  plant(temp / "file", "x");
  PosixFileSystem files(temp.path());

  FileStatus status = files.createDirectories(temp / "file/sub");

  EXPECT_EQ(status.code(), FileStatus::Code::kIoError);
  EXPECT_EQ(status.message(), "mkdir " + (temp / "file") + ": Not a directory");
}

TEST(PosixFileSystemTest, ReadingAMissingFileIsNotFound) {
  TempFolder temp;
  PosixFileSystem files(temp.path());

  std::string contents = "unchanged";
  FileStatus status = files.readFile(temp / "absent", &contents);

  EXPECT_TRUE(status.isNotFound());
  EXPECT_EQ(status.message(), "open " + (temp / "absent") + ": No such file or directory");
  EXPECT_EQ(contents, "unchanged");
}

TEST(PosixFileSystemTest, ReadingAFolderIsAnIoError) {
  TempFolder temp;
  PosixFileSystem files(temp.path());

  std::string contents;
  FileStatus status = files.readFile(temp.path(), &contents);

  EXPECT_EQ(status.code(), FileStatus::Code::kIoError);
  EXPECT_EQ(status.message(), "read " + temp.path() + ": Is a directory");
}

TEST(PosixFileSystemTest, ReadGivesTheWholeFileIncludingZeroBytes) {
  TempFolder temp;
  std::string data(200000, 'x');
  data[7] = '\0';
  plant(temp / "f", data);
  PosixFileSystem files(temp.path());

  std::string contents;
  ASSERT_TRUE(files.readFile(temp / "f", &contents).isOk());

  EXPECT_EQ(contents, data);
}

TEST(PosixFileSystemTest, AtomicWriteCreatesAPrivateFile) {
  TempFolder temp;
  PosixFileSystem files(temp.path());
  const mode_t previous = ::umask(0);

  FileStatus status = files.writeFileAtomically(temp / "f.data", "hello");
  ::umask(previous);

  ASSERT_TRUE(status.isOk()) << status.message();
  EXPECT_EQ(slurp(temp / "f.data"), "hello");
  EXPECT_EQ(modeOf(temp / "f.data"), 0600);
}

TEST(PosixFileSystemTest, AtomicWriteReplacesContentAndLeavesNoStagingFile) {
  TempFolder temp;
  PosixFileSystem files(temp.path());
  plant(temp / "f.data", "old and longer");

  ASSERT_TRUE(files.writeFileAtomically(temp / "f.data", "new").isOk());

  EXPECT_EQ(slurp(temp / "f.data"), "new");
  EXPECT_EQ(namesIn(files, temp.path()), std::vector<std::string>{"f.data"});
}

TEST(PosixFileSystemTest, AtomicWriteOfEmptyContentGivesAnEmptyFile) {
  TempFolder temp;
  PosixFileSystem files(temp.path());

  ASSERT_TRUE(files.writeFileAtomically(temp / "f.data", "").isOk());

  EXPECT_TRUE(exists(temp / "f.data"));
  EXPECT_EQ(slurp(temp / "f.data"), "");
}

TEST(PosixFileSystemTest, AtomicWriteIntoAMissingFolderFailsAndCreatesNothing) {
  TempFolder temp;
  PosixFileSystem files(temp.path());

  FileStatus status = files.writeFileAtomically(temp / "no/f.data", "x");

  EXPECT_FALSE(status.isOk());
  EXPECT_EQ(status.message().rfind("open " + (temp / "no/f.data.tmp-"), 0), 0U) << status.message();
  EXPECT_FALSE(exists(temp / "no"));
}

TEST(PosixFileSystemTest, AtomicWriteOverAFolderFailsAndLeavesNoStagingFile) {
  TempFolder temp;
  PosixFileSystem files(temp.path());
  ASSERT_TRUE(files.createDirectories(temp / "taken").isOk());

  FileStatus status = files.writeFileAtomically(temp / "taken", "x");

  EXPECT_EQ(status.code(), FileStatus::Code::kIoError);
  EXPECT_EQ(status.message().rfind("rename " + (temp / "taken.tmp-"), 0), 0U) << status.message();
  EXPECT_EQ(namesIn(files, temp.path()), std::vector<std::string>{"taken"});
}

TEST(PosixFileSystemTest, ConcurrentWritesOfOneFileEachLeaveAWholeFile) {
  TempFolder temp;
  PosixFileSystem files(temp.path());
  std::vector<std::string> contents;
  contents.reserve(4);
  for (int i = 0; i < 4; ++i) contents.emplace_back(50000, static_cast<char>('a' + i));

  std::vector<std::thread> writers;
  writers.reserve(contents.size());
  for (const auto& content : contents) {
    writers.emplace_back([&files, &temp, &content] {
      for (int round = 0; round < 20; ++round) {
        EXPECT_TRUE(files.writeFileAtomically(temp / "shared", content).isOk());
      }
    });
  }
  for (auto& writer : writers) writer.join();

  const std::string result = slurp(temp / "shared");
  EXPECT_NE(std::find(contents.begin(), contents.end(), result), contents.end());
  EXPECT_EQ(namesIn(files, temp.path()), std::vector<std::string>{"shared"});
}

TEST(PosixFileSystemTest, ListDirectoryGivesSortedNamesWithoutDots) {
  TempFolder temp;
  plant(temp / "b", "");
  plant(temp / "a", "");
  plant(temp / ".hidden", "");
  PosixFileSystem files(temp.path());
  ASSERT_TRUE(files.createDirectories(temp / "c").isOk());

  EXPECT_EQ(namesIn(files, temp.path()), (std::vector<std::string>{".hidden", "a", "b", "c"}));
}

TEST(PosixFileSystemTest, ListingAMissingFolderIsNotFound) {
  TempFolder temp;
  PosixFileSystem files(temp.path());

  std::vector<std::string> names;
  EXPECT_TRUE(files.listDirectory(temp / "absent", &names).isNotFound());
}

TEST(PosixFileSystemTest, RemoveFileDeletesAndReportsAMissingOne) {
  TempFolder temp;
  plant(temp / "f", "x");
  PosixFileSystem files(temp.path());

  EXPECT_TRUE(files.removeFile(temp / "f").isOk());
  EXPECT_FALSE(exists(temp / "f"));
  EXPECT_TRUE(files.removeFile(temp / "f").isNotFound());
}

TEST(PosixFileSystemTest, RenameReplacesTheTargetAndReportsAMissingSource) {
  TempFolder temp;
  plant(temp / "from", "new");
  plant(temp / "to", "old");
  PosixFileSystem files(temp.path());

  EXPECT_TRUE(files.renameFile(temp / "from", temp / "to").isOk());
  EXPECT_EQ(slurp(temp / "to"), "new");
  EXPECT_FALSE(exists(temp / "from"));
  EXPECT_TRUE(files.renameFile(temp / "from", temp / "to").isNotFound());
}

// A test double in the way later tests build theirs: override one call, inherit the rest.
class CountingWrites : public FileSystemWrapper {
 public:
  using FileSystemWrapper::FileSystemWrapper;
  FileStatus writeFileAtomically(const std::string& path, std::string_view contents) override {
    ++writes;
    return FileSystemWrapper::writeFileAtomically(path, contents);
  }
  int writes = 0;
};

TEST(FileSystemWrapperTest, ForwardsEveryCallAndLetsOneBeReplaced) {
  TempFolder temp;
  CountingWrites files(std::make_unique<PosixFileSystem>(temp / "docs"));

  std::string documents;
  ASSERT_TRUE(files.documentsDirectory(&documents).isOk());
  ASSERT_TRUE(files.createDirectories(documents + "/sub").isOk());
  ASSERT_TRUE(files.writeFileAtomically(documents + "/sub/a", "1").isOk());
  ASSERT_TRUE(files.renameFile(documents + "/sub/a", documents + "/sub/b").isOk());
  std::string contents;
  ASSERT_TRUE(files.readFile(documents + "/sub/b", &contents).isOk());
  std::vector<std::string> names;
  ASSERT_TRUE(files.listDirectory(documents + "/sub", &names).isOk());
  ASSERT_TRUE(files.removeFile(documents + "/sub/b").isOk());

  EXPECT_EQ(documents, temp / "docs");
  EXPECT_EQ(contents, "1");
  EXPECT_EQ(names, std::vector<std::string>{"b"});
  EXPECT_EQ(files.writes, 1);
  EXPECT_FALSE(exists(documents + "/sub/b"));
}

TEST(PlatformFileSystemTest, DefaultPlatformHasPosixFilesAndTheSetterReplacesThem) {
  Platform platform;
  EXPECT_NE(dynamic_cast<PosixFileSystem*>(&platform.fileSystem()), nullptr);

  TempFolder temp;
  platform.setFileSystem(
      std::make_unique<CountingWrites>(std::make_unique<PosixFileSystem>(temp.path())));

  EXPECT_NE(dynamic_cast<CountingWrites*>(&platform.fileSystem()), nullptr);
}

TEST(PlatformFileSystemTest, TestPlatformPointsFilesAtAFreshFolder) {
  TestPlatform platform;

  std::string documents;
  ASSERT_TRUE(Platform::current().fileSystem().documentsDirectory(&documents).isOk());

  EXPECT_EQ(documents, platform.documentsFolder());
  EXPECT_TRUE(namesIn(Platform::current().fileSystem(), documents).empty());
}

}  // namespace
}  // namespace pelorin::platform
