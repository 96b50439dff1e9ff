// The library's writer: one background thread that encodes the state snapshots the engine
// hands it and replaces the files with the data manager's atomic write, so no application
// thread waits for the disk, and the global lock is held only to take the snapshots.
//
// Order: within one round the small texts (profile identifier, enabled flag, simulator
// session) come first, in the order they came, since each stands for a change already made
// that later state builds on (a cache of a new visitor must not be stored before the
// visitor's identifier); then the request log, the commit log and the cache. A process
// killed between two writes thus always keeps every change in one of the logs (see the
// tick). A file asked for again while its earlier content still
// waits gets the newer content only: the writer never falls behind by more than one round.
//
// Failures: a write that fails keeps its content waiting (with every later log or cache
// write of its round, which must not overtake it) until a later round writes it or newer
// content replaces it; `retry` starts such a round (the tick calls it). A failed small text
// holds nothing else up. A file's failure is
// logged once, then not again until a write of that file succeeds.
//
// Exit: a process that calls `exit` or returns from `main` first gives the writers up to
// kExitWait to finish what waits; a write that hangs longer does not hold the exit up.
//
// Thread safety: every operation may be called from any thread.
#ifndef PELORIN_SRC_STORAGE_PELORIN_FILE_WRITER_H_
#define PELORIN_SRC_STORAGE_PELORIN_FILE_WRITER_H_

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace pelorin {

class PelorinFileWriter {
 public:
  // Makes a file's text on the writer thread; nothing when it cannot be stored (the
  // encoder logs why), which drops the write.
  using Encoder = std::function<std::optional<std::string>()>;
  // The place of a file in a round.
  enum class Order { kText, kRequestLog, kCommitLog, kCache };
  static constexpr std::chrono::milliseconds kExitWait{2000};

  // Starts the thread.
  PelorinFileWriter();
  // Finishes the writes that are due, then stops the thread.
  ~PelorinFileWriter();
  PelorinFileWriter(const PelorinFileWriter&) = delete;
  PelorinFileWriter& operator=(const PelorinFileWriter&) = delete;

  // Queues the file's new content, replacing content of that file still waiting.
  void write(std::string fileName, Order order, Encoder encode);
  // A small text, written before the logs and the cache of its round.
  void writeText(std::string fileName, std::string text);
  // Writes again the files whose last write failed; nothing when there are none.
  void retry();
  // Blocks until every write asked for so far has been tried.
  void waitUntilIdle();
  // As waitUntilIdle, giving up after `timeout`; true when idle.
  bool waitUntilIdleFor(std::chrono::milliseconds timeout);

 private:
  struct Pending {
    std::string fileName;
    Order order;
    Encoder encode;
    std::optional<std::string> text;  // kept once encoded, for a write to try again
  };

  void run();
  // Places `item` after the waiting items of its order or an earlier one. Caller holds
  // `_mutex`.
  void insert(Pending item);
  bool idle() const { return !_roundDue && !_busy; }

  std::mutex _mutex;
  std::condition_variable _wake;
  std::condition_variable _idle;
  std::vector<Pending> _pending;
  bool _roundDue = false;
  bool _busy = false;
  bool _stop = false;
  // Files whose last write failed and was logged; the writer thread's own.
  std::vector<std::string> _failing;
  std::thread _thread;
};

}  // namespace pelorin

#endif  // PELORIN_SRC_STORAGE_PELORIN_FILE_WRITER_H_
