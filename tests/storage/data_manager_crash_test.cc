// A child process writes the cache, a commit log and a text file through the data manager
// in a loop; the parent kills it at random moments and then, as the next launch would,
// cleans up and loads every file: each must decode and hold the content of the last write
// that started or of the one before it.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <iostream>
#include <map>
#include <optional>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "config/constants.h"
#include "storage/pelorin_cache.h"
#include "storage/pelorin_commit_log.h"
#include "storage/pelorin_data_manager.h"
#include "support/test_platform.h"

namespace pelorin {
namespace {

constexpr int kKills = 220;
constexpr auto kTimeBudget = std::chrono::seconds(25);

// Which file a write is for, as the child announces it before writing.
enum class Target : std::int32_t { kCache, kCommitLog, kText };
constexpr Target kTargets[] = {Target::kCache, Target::kCommitLog, Target::kText};

struct Announcement {
  Target target;
  std::int32_t generation;
};

std::string fileNameOf(Target target) {
  switch (target) {
    case Target::kCache:
      return Constants::Files::CACHE;
    case Target::kCommitLog:
      return Constants::Files::COMMITLOG;
    case Target::kText:
      return Constants::Files::ID;
  }
  return "";
}

// Large enough that a write takes a while, so kills land inside writes.
std::string padding(std::int32_t generation, std::size_t size) {
  std::string text(size, 'a');
  for (std::size_t i = 0; i < size; i += 97)
    text[i] = static_cast<char>('a' + (generation + i) % 26);
  return text;
}

PelorinCache cacheOf(std::int32_t generation) {
  PelorinCache cache;
  cache.properties = {{"generation", {std::to_string(generation)}},
                      {"padding", {padding(generation, std::size_t{64} * 1024), "\"\\é"}}};
  cache.domainGroup = "dg-" + std::to_string(generation);
  cache.modified = generation % 2 == 0;
  return cache;
}

PelorinCommitLog commitLogOf(std::int32_t generation) {
  PelorinCommitLog log;
  log.setProperties("generation", {std::to_string(generation)});
  log.addProperties("padding", {padding(generation, std::size_t{32} * 1024)});
  log.updateEvent(EventType::CLICK, "i1", generation + 2);
  return log;
}

std::string textOf(std::int32_t generation) { return "profile-" + std::to_string(generation); }

[[noreturn]] void runWriter(int announcements, std::int32_t firstGeneration) {
  auto announce = [&](Target target, std::int32_t generation) {
    const Announcement record{target, generation};
    if (::write(announcements, &record, sizeof record) != sizeof record) ::_exit(3);
  };
  for (std::int32_t generation = firstGeneration;; ++generation) {
    announce(Target::kCache, generation);
    PelorinDataManager::writeToFile(cacheOf(generation), Constants::Files::CACHE);
    announce(Target::kCommitLog, generation);
    PelorinDataManager::writeToFile(commitLogOf(generation), Constants::Files::COMMITLOG);
    announce(Target::kText, generation);
    PelorinDataManager::writeStringToFile(textOf(generation), Constants::Files::ID);
  }
}

// The generation a file holds; nothing when it is absent. Fails the test when the file
// does not decode or is not exactly the document of a generation.
std::optional<std::int32_t> generationIn(Target target) {
  auto parse = [](const std::string& text) { return static_cast<std::int32_t>(std::stol(text)); };
  switch (target) {
    case Target::kCache: {
      auto cache = PelorinDataManager::loadFromFile<PelorinCache>(Constants::Files::CACHE);
      if (!cache) return std::nullopt;
      const std::int32_t generation = parse(cache->properties["generation"].at(0));
      EXPECT_EQ(*cache, cacheOf(generation));
      return generation;
    }
    case Target::kCommitLog: {
      auto log = PelorinDataManager::loadFromFile<PelorinCommitLog>(Constants::Files::COMMITLOG);
      if (!log) return std::nullopt;
      const std::int32_t generation = parse(log->getProperty("generation")->values().at(0));
      EXPECT_EQ(*log, commitLogOf(generation));
      return generation;
    }
    case Target::kText: {
      auto text = PelorinDataManager::loadStringFromFile(Constants::Files::ID);
      if (!text) return std::nullopt;
      const std::int32_t generation = parse(text->substr(std::string("profile-").size()));
      EXPECT_EQ(*text, textOf(generation));
      return generation;
    }
  }
  return std::nullopt;
}

// The files of the folder; none when a child was killed before it created the folder.
std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  platform::FileStatus status = Platform::current().fileSystem().listDirectory(folder, &names);
  EXPECT_TRUE(status.isOk() || status.isNotFound()) << status.message();
  return names;
}

int modeOf(const std::string& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) return -1;
  return static_cast<int>(info.st_mode & 07777);
}

TEST(DataManagerCrashTest, EveryFileHoldsThePreviousOrTheNewContentAfterAKill) {
  testing::TestPlatform platform;
  const std::string folder = platform.documentsFolder() + "/pelorin";
  std::mt19937 random(20240501);
  std::map<Target, std::optional<std::int32_t>> held;  // what each file held at the last check
  std::int32_t nextGeneration = 1;
  int kills = 0;
  int interruptedWrites = 0;
  const auto start = std::chrono::steady_clock::now();

  while (kills < kKills && std::chrono::steady_clock::now() - start < kTimeBudget) {
    int channel[2];
    ASSERT_EQ(::pipe(channel), 0);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      ::close(channel[0]);
      platform.bundle().set("pl_debug", JsonValue(false));
      runWriter(channel[1], nextGeneration);
    }
    ::close(channel[1]);

    // Let the child start a random number of writes, then kill it a random moment later.
    std::vector<Announcement> announced;
    const int writesBeforeKill = std::uniform_int_distribution<int>(1, 7)(random);
    Announcement record{};
    while (static_cast<int>(announced.size()) < writesBeforeKill &&
           ::read(channel[0], &record, sizeof record) == sizeof record) {
      announced.push_back(record);
    }
    std::this_thread::sleep_for(
        std::chrono::microseconds(std::uniform_int_distribution<int>(0, 2500)(random)));
    ASSERT_EQ(::kill(child, SIGKILL), 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the writer ended by itself with " << status;
    while (::read(channel[0], &record, sizeof record) == sizeof record) announced.push_back(record);
    ::close(channel[0]);
    ++kills;

    // What each file may hold: the last write announced for it, or the one before.
    std::map<Target, std::vector<std::optional<std::int32_t>>> allowed;
    for (Target target : kTargets) {
      std::vector<std::int32_t> mine;
      for (const auto& a : announced) {
        if (a.target == target) mine.push_back(a.generation);
      }
      if (mine.empty()) {
        allowed[target] = {held[target]};
      } else {
        allowed[target] = {mine.back(),
                           mine.size() >= 2 ? std::optional(mine[mine.size() - 2]) : held[target]};
      }
      if (!mine.empty()) nextGeneration = std::max(nextGeneration, mine.back() + 1);
    }

    if (namesIn(folder).size() > 3) ++interruptedWrites;  // a staging file was left behind

    PelorinDataManager::cleanUpFiles();
    for (Target target : kTargets) {
      const auto generation = generationIn(target);
      const auto& options = allowed[target];
      ASSERT_NE(std::find(options.begin(), options.end(), generation), options.end())
          << fileNameOf(target) << " after kill " << kills << " holds generation "
          << generation.value_or(-1);
      held[target] = generation;
      if (generation) {
        EXPECT_EQ(modeOf(folder + "/" + fileNameOf(target)), 0600);
      }
    }
    ASSERT_EQ(platform.logLines(), std::vector<std::string>{});
    for (const auto& name : namesIn(folder)) {
      EXPECT_TRUE(name == Constants::Files::CACHE || name == Constants::Files::COMMITLOG ||
                  name == Constants::Files::ID)
          << "unexpected file " << name << " after kill " << kills;
    }
    ASSERT_FALSE(HasFailure());
  }

  EXPECT_EQ(modeOf(folder), 0700);
  EXPECT_GE(kills, 200) << "only " << kills << " kills fit in the time budget";
  EXPECT_GT(interruptedWrites, 0) << "no kill landed inside a write";
  std::cout << kills << " kills, " << interruptedWrites << " inside a write, last generation "
            << nextGeneration - 1 << "\n";
}

}  // namespace
}  // namespace pelorin
