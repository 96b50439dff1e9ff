#include "storage/pelorin_data_manager.h"

#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "config/constants.h"
#include "storage/pelorin_cache.h"
#include "storage/pelorin_commit_log.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

using platform::FileStatus;
using Lines = std::vector<std::string>;
using Names = std::vector<std::string>;

// Posix files with switches that make single operations fail, and a record of writes.
class FaultyFiles : public platform::FileSystemWrapper {
 public:
  using FileSystemWrapper::FileSystemWrapper;

  FileStatus documentsDirectory(std::string* path) override {
    if (failDocuments) return FileStatus::ioError("no documents");
    return FileSystemWrapper::documentsDirectory(path);
  }
  FileStatus listDirectory(const std::string& path, Names* names) override {
    if (failList) return FileStatus::ioError("no listing");
    return FileSystemWrapper::listDirectory(path, names);
  }
  FileStatus removeFile(const std::string& path) override {
    if (path.ends_with("/" + failRemovalOf)) return FileStatus::ioError("busy");
    if (path.ends_with("/" + goneOnRemovalOf)) return FileStatus::notFound("gone");
    return FileSystemWrapper::removeFile(path);
  }
  FileStatus writeFileAtomically(const std::string& path, std::string_view contents) override {
    writtenPaths.push_back(path);
    if (failWrites) return FileStatus::ioError("write " + path + ": No space left on device");
    return FileSystemWrapper::writeFileAtomically(path, contents);
  }

  bool failDocuments = false;
  bool failList = false;
  bool failWrites = false;
  std::string failRemovalOf = "\n";
  std::string goneOnRemovalOf = "\n";
  Names writtenPaths;
};

class PelorinDataManagerTest : public ::testing::Test {
 protected:
  PelorinDataManagerTest() {
    auto files = std::make_unique<FaultyFiles>(
        std::make_unique<platform::PosixFileSystem>(_platform.documentsFolder()));
    _files = files.get();
    _platform.platform().setFileSystem(std::move(files));
  }

  std::string folder() const { return _platform.documentsFolder() + "/pelorin"; }
  std::string pathOf(const std::string& name) const { return folder() + "/" + name; }
  Lines logLines() const { return _platform.logLines(); }
  FaultyFiles& files() { return *_files; }
  testing::TestPlatform& testPlatform() { return _platform; }

  void plant(const std::string& name, const std::string& contents) {
    ::mkdir(folder().c_str(), 0700);
    std::ofstream(pathOf(name), std::ios::binary) << contents;
  }
  std::string contentsOf(const std::string& name) const {
    std::ifstream in(pathOf(name), std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
  }
  bool exists(const std::string& name) const {
    struct stat info {};
    return ::stat(pathOf(name).c_str(), &info) == 0;
  }
  int modeOf(const std::string& path) const {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return -1;
    return static_cast<int>(info.st_mode & 07777);
  }
  Names filesInFolder() {
    Names names;
    EXPECT_TRUE(files().target().listDirectory(folder(), &names).isOk());
    return names;
  }

 private:
  testing::TestPlatform _platform;
  FaultyFiles* _files;
};

TEST_F(PelorinDataManagerTest, FirstLaunchCreatesThePrivateFolderAndFindsNoFiles) {
  auto location = PelorinDataManager::getFolderLocation();

  ASSERT_TRUE(location.has_value());
  EXPECT_EQ(*location, folder());
  EXPECT_EQ(modeOf(folder()), 0700);
  EXPECT_FALSE(PelorinDataManager::loadFromFile<PelorinCommitLog>(Constants::Files::COMMITLOG));
  EXPECT_FALSE(PelorinDataManager::loadFromFile<PelorinCache>(Constants::Files::CACHE));
  EXPECT_FALSE(PelorinDataManager::loadStringFromFile(Constants::Files::ID));
  EXPECT_EQ(logLines(), Lines{});
  EXPECT_EQ(filesInFolder(), Names{});
}

TEST_F(PelorinDataManagerTest, NoDocumentsFolderMeansNoFolderLocation) {
  files().failDocuments = true;

  EXPECT_FALSE(PelorinDataManager::getFolderLocation());
  EXPECT_EQ(logLines(), Lines{"ERROR [PL_DATA_MANAGER]: Unable to get folder location"});
}

TEST_F(PelorinDataManagerTest, AFileInPlaceOfTheFolderMeansNoFolderLocation) {
  std::ofstream(folder()) << "not a folder";

  EXPECT_FALSE(PelorinDataManager::getFolderLocation());
  EXPECT_EQ(logLines(), Lines{"ERROR [PL_DATA_MANAGER]: Unable to get folder location"});
}

TEST_F(PelorinDataManagerTest, WithoutFolderEveryOperationDoesNothing) {
  files().failDocuments = true;
  PelorinCache cache;
  cache.setProperties({{"a", {"x"}}});

  EXPECT_FALSE(PelorinDataManager::loadStringFromFile(Constants::Files::ID));
  PelorinDataManager::writeStringToFile("p1", Constants::Files::ID);
  EXPECT_FALSE(PelorinDataManager::loadFromFile<PelorinCache>(Constants::Files::CACHE));
  PelorinDataManager::writeToFile(cache, Constants::Files::CACHE);

  EXPECT_EQ(files().writtenPaths, Names{});
  EXPECT_EQ(logLines(), Lines(4, "ERROR [PL_DATA_MANAGER]: Unable to get folder location"));
}

TEST_F(PelorinDataManagerTest, TextIsWrittenAtomicallyToAPrivateFileAndReadBack) {
  PelorinDataManager::writeStringToFile("profile-ü-1", Constants::Files::ID);

  EXPECT_EQ(files().writtenPaths, Names{pathOf("id.data")});
  EXPECT_EQ(contentsOf("id.data"), "profile-ü-1");
  EXPECT_EQ(modeOf(pathOf("id.data")), 0600);
  EXPECT_EQ(PelorinDataManager::loadStringFromFile(Constants::Files::ID), "profile-ü-1");
  EXPECT_EQ(logLines(), Lines{});
}

TEST_F(PelorinDataManagerTest, EmptyTextFileLoadsAsEmptyText) {
  plant("enabled.data", "");

  EXPECT_EQ(PelorinDataManager::loadStringFromFile(Constants::Files::ENABLED), "");
}

TEST_F(PelorinDataManagerTest, FailedWriteIsLogged) {
  files().failWrites = true;

  PelorinDataManager::writeStringToFile("false", Constants::Files::ENABLED);

  EXPECT_EQ(logLines(), Lines{"ERROR [PL_DATA_MANAGER]: Unable to write to file! write " +
                              pathOf("enabled.data") + ": No space left on device"});
  EXPECT_FALSE(exists("enabled.data"));
}

TEST_F(PelorinDataManagerTest, TextFileThatIsNotUtf8GivesNothingAndIsLogged) {
  plant("id.data", "id\xff");

  EXPECT_FALSE(PelorinDataManager::loadStringFromFile(Constants::Files::ID));
  EXPECT_EQ(logLines(), Lines{"ERROR [PL_DATA_MANAGER]: Unable to read file! " + pathOf("id.data") +
                              ": the content is not UTF-8"});
  EXPECT_EQ(contentsOf("id.data"), "id\xff");
}

TEST_F(PelorinDataManagerTest, UnreadableFileGivesNothingAndIsLogged) {
  ::mkdir(folder().c_str(), 0700);
  ::mkdir(pathOf("cache5.2.data").c_str(), 0700);

  EXPECT_FALSE(PelorinDataManager::loadFromFile<PelorinCache>(Constants::Files::CACHE));
  EXPECT_EQ(logLines(), Lines{"ERROR [PL_DATA_MANAGER]: Unable to read file! read " +
                              pathOf("cache5.2.data") + ": Is a directory"});
  // A read error says nothing about the content, so nothing is moved aside.
  EXPECT_EQ(filesInFolder(), Names{"cache5.2.data"});
}

TEST_F(PelorinDataManagerTest, CommitLogIsWrittenAndDecodesToAnEqualLog) {
  PelorinCommitLog log;
  log.addProperties("interests", {"sports"});
  log.setProperties("city", {"Utrecht"});
  log.updateEvent(EventType::CLICK, "i1", 2);

  PelorinDataManager::writeToFile(log, Constants::Files::COMMITLOG);
  auto loaded = PelorinDataManager::loadFromFile<PelorinCommitLog>(Constants::Files::COMMITLOG);

  EXPECT_EQ(contentsOf("plcommitlog5.2.data"),
            R"({"_properties":[{"_identifier":"interests","_type":"ADD","_values":["sports"]},)"
            R"({"_identifier":"city","_type":"SET","_values":["Utrecht"]}],)"
            R"("_events":[{"_identifier":"i1","_type":"CLICK","_count":2}],"_modified":true})");
  EXPECT_EQ(modeOf(pathOf("plcommitlog5.2.data")), 0600);
  ASSERT_TRUE(loaded.has_value());
  EXPECT_EQ(*loaded, log);
  EXPECT_EQ(logLines(), Lines{});
}

TEST_F(PelorinDataManagerTest, CacheIsWrittenAndDecodesToAnEqualCache) {
  PelorinCache cache;
  cache.setProperties({{"city", {"Utrecht"}}, {"interests", {"sports", "music"}}});
  cache.domainGroup = "dg-7";

  PelorinDataManager::writeToFile(cache, Constants::Files::CACHE);
  auto loaded = PelorinDataManager::loadFromFile<PelorinCache>(Constants::Files::CACHE);

  EXPECT_EQ(contentsOf("cache5.2.data"),
            R"({"properties":{"city":["Utrecht"],"interests":["sports","music"]},)"
            R"("domainGroup":"dg-7","modified":true})");
  ASSERT_TRUE(loaded.has_value());
  EXPECT_EQ(*loaded, cache);
}

TEST_F(PelorinDataManagerTest, CacheWithoutDomainGroupIsStoredWithoutTheMember) {
  PelorinCache cache;
  cache.properties = {{"a", {"x"}}};

  PelorinDataManager::writeToFile(cache, Constants::Files::CACHE);
  auto loaded = PelorinDataManager::loadFromFile<PelorinCache>(Constants::Files::CACHE);

  EXPECT_EQ(contentsOf("cache5.2.data"), R"({"properties":{"a":["x"]},"modified":false})");
  ASSERT_TRUE(loaded.has_value());
  EXPECT_EQ(loaded->domainGroup, std::nullopt);
}

TEST_F(PelorinDataManagerTest, ObjectHoldingTextThatIsNotUtf8IsNotEncoded) {
  PelorinCache cache;
  cache.properties = {{"a", {"ok", "bad\xc3"}}};
  plant("cache5.2.data", "previous");

  PelorinDataManager::writeToFile(cache, Constants::Files::CACHE);

  EXPECT_EQ(logLines(), Lines{"ERROR [PL_DATA_MANAGER]: Unable to encoded data! "
                              "cache5.2.data: a text is not UTF-8"});
  EXPECT_EQ(files().writtenPaths, Names{});
  EXPECT_EQ(contentsOf("cache5.2.data"), "previous");
}

TEST_F(PelorinDataManagerTest, UndecodableFileIsKeptAsideAndTheNextWriteWorks) {
  plant("cache5.2.data", R"({"properties":{"a":["x"]})");

  EXPECT_FALSE(PelorinDataManager::loadFromFile<PelorinCache>(Constants::Files::CACHE));
  PelorinCache cache;
  PelorinDataManager::writeToFile(cache, Constants::Files::CACHE);

  EXPECT_EQ(filesInFolder(), (Names{"cache5.2.data", "cache5.2.data.corrupt"}));
  EXPECT_EQ(contentsOf("cache5.2.data.corrupt"), R"({"properties":{"a":["x"]})");
  EXPECT_EQ(contentsOf("cache5.2.data"), R"({"properties":{},"modified":false})");
}

TEST_F(PelorinDataManagerTest, ALaterCorruptFileReplacesTheEarlierCopy) {
  plant("plcommitlog5.2.data", "first");
  EXPECT_FALSE(PelorinDataManager::loadFromFile<PelorinCommitLog>(Constants::Files::COMMITLOG));
  plant("plcommitlog5.2.data", "second");
  EXPECT_FALSE(PelorinDataManager::loadFromFile<PelorinCommitLog>(Constants::Files::COMMITLOG));

  EXPECT_EQ(filesInFolder(), Names{"plcommitlog5.2.data.corrupt"});
  EXPECT_EQ(contentsOf("plcommitlog5.2.data.corrupt"), "second");
}

TEST_F(PelorinDataManagerTest, LoadsATenMegabyteCache) {
  PelorinCache cache;
  const std::string value(60, 'v');
  for (int i = 0; i < 65000; ++i) {
    cache.properties["property_" + std::to_string(i)] = {value + "1", value + "2", "\"é\\"};
  }
  const std::string text = cache.encode();
  ASSERT_GT(text.size(), 10U * 1000 * 1000);
  plant("cache5.2.data", text);

  auto loaded = PelorinDataManager::loadFromFile<PelorinCache>(Constants::Files::CACHE);

  ASSERT_TRUE(loaded.has_value());
  EXPECT_EQ(*loaded, cache);
  EXPECT_EQ(logLines(), Lines{});
}

// Hand-written files that do not decode: each yields nothing, logs why, and is kept aside.
struct BrokenFile {
  const char* testName;
  bool isCache;
  std::string contents;
  std::string reason;  // "{path}" stands for the file's path
};

// Keeps the test names short: the parameter prints as its name.
// NOLINTNEXTLINE(readability-identifier-naming): googletest looks for this name.
void PrintTo(const BrokenFile& broken, std::ostream* out) { *out << broken.testName; }

class PelorinDataManagerBrokenFileTest : public PelorinDataManagerTest,
                                         public ::testing::WithParamInterface<BrokenFile> {};

TEST_P(PelorinDataManagerBrokenFileTest, YieldsNothingLogsAndKeepsTheFileAside) {
  const BrokenFile& broken = GetParam();
  const std::string name = broken.isCache ? Constants::Files::CACHE : Constants::Files::COMMITLOG;
  plant(name, broken.contents);

  const bool loaded = broken.isCache
                          ? PelorinDataManager::loadFromFile<PelorinCache>(name).has_value()
                          : PelorinDataManager::loadFromFile<PelorinCommitLog>(name).has_value();

  std::string reason = broken.reason;
  if (auto at = reason.find("{path}"); at != std::string::npos) reason.replace(at, 6, pathOf(name));
  EXPECT_FALSE(loaded);
  EXPECT_EQ(logLines(), Lines{"ERROR [PL_DATA_MANAGER]: Unable to decode data! " + reason});
  EXPECT_EQ(filesInFolder(), Names{name + ".corrupt"});
  EXPECT_EQ(contentsOf(name + ".corrupt"), broken.contents);
}

INSTANTIATE_TEST_SUITE_P(
    HandWritten, PelorinDataManagerBrokenFileTest,
    ::testing::Values(
        BrokenFile{"EmptyCache", true, "", "cache: incomplete JSON"},
        BrokenFile{"TruncatedCache", true, R"({"properties":{"a":["x")", "cache: incomplete JSON"},
        BrokenFile{"CacheThatIsAnArray", true, "[]", "cache: the document is not an object"},
        BrokenFile{"CacheWithTrailingGarbage", true, R"({"properties":{},"modified":true}x)",
                   "cache: extra data"},
        BrokenFile{"CachePropertiesAsArray", true, R"({"properties":[],"modified":false})",
                   R"(cache: missing or mistyped member "properties")"},
        BrokenFile{"CacheWithoutProperties", true, R"({"modified":false})",
                   R"(cache: missing or mistyped member "properties")"},
        BrokenFile{"CacheModifiedAsText", true, R"({"properties":{},"modified":"true"})",
                   R"(cache: missing or mistyped member "modified")"},
        BrokenFile{"CacheWithoutModified", true, R"({"properties":{}})",
                   R"(cache: missing or mistyped member "modified")"},
        BrokenFile{"CacheValuesAsNumbers", true, R"({"properties":{"a":[1]},"modified":true})",
                   R"(cache: the values of "a" are not texts)"},
        BrokenFile{"CacheValueAsSingleText", true, R"({"properties":{"a":"x"},"modified":true})",
                   R"(cache: the values of "a" are not texts)"},
        BrokenFile{"CacheDomainGroupAsNumber", true,
                   R"({"properties":{},"domainGroup":7,"modified":true})",
                   R"(cache: mistyped member "domainGroup")"},
        BrokenFile{"CacheNotUtf8", true, "{\"properties\":{\"\xff\":[]},\"modified\":true}",
                   "{path}: the content is not UTF-8"},
        BrokenFile{"EmptyCommitLog", false, "", "commit log: incomplete JSON"},
        BrokenFile{"TruncatedCommitLog", false, R"({"_properties":[],"_ev)",
                   "commit log: incomplete JSON"},
        BrokenFile{"CommitLogWithoutEvents", false, R"({"_properties":[],"_modified":false})",
                   R"(commit log: missing or mistyped member "_events")"},
        BrokenFile{"CommitLogCountAsText", false,
                   R"({"_properties":[],"_events":[{"_identifier":"i","_type":"CLICK",)"
                   R"("_count":"2"}],"_modified":false})",
                   R"(event entry: missing or mistyped member "_count")"},
        BrokenFile{"CommitLogUnknownType", false,
                   R"({"_properties":[{"_identifier":"a","_type":"MERGE","_values":[]}],)"
                   R"("_events":[],"_modified":false})",
                   R"(property entry: missing or mistyped member "_type")"}),
    [](const ::testing::TestParamInfo<BrokenFile>& info) { return info.param.testName; });

TEST_F(PelorinDataManagerTest, CacheWithNullDomainGroupLoadsWithNone) {
  plant("cache5.2.data", R"({"properties":{"a":["x"]},"domainGroup":null,"modified":true})");

  auto loaded = PelorinDataManager::loadFromFile<PelorinCache>(Constants::Files::CACHE);

  ASSERT_TRUE(loaded.has_value());
  EXPECT_EQ(loaded->domainGroup, std::nullopt);
  EXPECT_EQ(loaded->properties, (ProfileProperties{{"a", {"x"}}}));
  EXPECT_TRUE(loaded->modified);
}

TEST_F(PelorinDataManagerTest, CleanUpRemovesTheOldCommitLogAndKeepsTheCurrentOne) {
  plant("plcommitlog.data", "old");
  plant("plcommitlog5.2.data", "current");

  PelorinDataManager::cleanUpFiles();

  EXPECT_EQ(filesInFolder(), Names{"plcommitlog5.2.data"});
  EXPECT_EQ(logLines(), Lines{});
}

TEST_F(PelorinDataManagerTest, CleanUpRemovesOnlyFilesBearingAnOldName) {
  for (const char* name :
       {"plcommitlog.data", "plrequestcommitlog.data", "cache.data", "backup-cache.data.bak",
        "cache5.2.data", "plcommitlog5.2.data", "plrequestcommitlog5.2.data", "id.data",
        "enabled.data", "plsimulatorusername.data", "plsimulatormobilesession.data",
        "cache5.2.data.corrupt", "5.2-cache.data", "notes.txt"}) {
    plant(name, "x");
  }

  PelorinDataManager::cleanUpFiles();

  EXPECT_EQ(filesInFolder(),
            (Names{"5.2-cache.data", "cache5.2.data", "cache5.2.data.corrupt", "enabled.data",
                   "id.data", "notes.txt", "plcommitlog5.2.data", "plrequestcommitlog5.2.data",
                   "plsimulatormobilesession.data", "plsimulatorusername.data"}));
}

TEST_F(PelorinDataManagerTest, CleanUpRemovesStagingFilesOfInterruptedWrites) {
  plant("cache5.2.data", "current");
  plant("cache5.2.data.tmp-a1B2c3", "half a wri");
  plant("id.data.tmp-zzzzzz", "");

  PelorinDataManager::cleanUpFiles();

  EXPECT_EQ(filesInFolder(), Names{"cache5.2.data"});
}

TEST_F(PelorinDataManagerTest, CleanUpWithoutFolderLogsAndStops) {
  files().failDocuments = true;

  PelorinDataManager::cleanUpFiles();

  EXPECT_EQ(logLines(),
            (Lines{"ERROR [PL_DATA_MANAGER]: Unable to get folder location",
                   "ERROR [PL_DATA_MANAGER]: Unable to clean up, because the pelorin folder is "
                   "not available"}));
}

TEST_F(PelorinDataManagerTest, CleanUpThatCannotListTheFolderLogs) {
  plant("cache.data", "old");
  files().failList = true;

  PelorinDataManager::cleanUpFiles();

  EXPECT_EQ(logLines(), Lines{"ERROR [PL_DATA_MANAGER]: Unable to clean up files"});
  EXPECT_EQ(contentsOf("cache.data"), "old");
}

TEST_F(PelorinDataManagerTest, CleanUpLogsAFailedRemovalAndGoesOn) {
  plant("cache.data", "old");
  plant("plcommitlog.data", "old");
  files().failRemovalOf = "cache.data";

  PelorinDataManager::cleanUpFiles();

  EXPECT_EQ(logLines(), Lines{"ERROR [PL_DATA_MANAGER]: Unable to clean up files"});
  EXPECT_EQ(filesInFolder(), Names{"cache.data"});
}

TEST_F(PelorinDataManagerTest, CleanUpIgnoresAFileThatIsAlreadyGone) {
  plant("cache.data", "old");
  files().goneOnRemovalOf = "cache.data";

  PelorinDataManager::cleanUpFiles();

  EXPECT_EQ(logLines(), Lines{});
}

TEST_F(PelorinDataManagerTest, NothingIsLoggedWhenDebugModeIsOff) {
  files().failDocuments = true;
  testPlatform().bundle().set("pl_debug", JsonValue(false));

  PelorinDataManager::cleanUpFiles();

  EXPECT_EQ(logLines(), Lines{});
}

}  // namespace
}  // namespace pelorin
