#include "storage/pelorin_file_writer.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "storage/pelorin_data_manager.h"

namespace pelorin {
namespace {

// The writers alive in the process, for the exit handler. Leaked: the handler runs during
// the process's static destruction.
struct Writers {
  std::mutex mutex;
  std::vector<PelorinFileWriter*> list;
};

Writers& writers() {
  static auto* all = new Writers;
  return *all;
}

// Lets every writer finish what waits, within one shared bound.
void finishWritesAtExit() {
  Writers& all = writers();
  std::lock_guard<std::mutex> lock(all.mutex);
  const auto deadline = std::chrono::steady_clock::now() + PelorinFileWriter::kExitWait;
  for (PelorinFileWriter* writer : all.list) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0 || !writer->waitUntilIdleFor(left)) return;
  }
}

}  // namespace

PelorinFileWriter::PelorinFileWriter() {
  static const bool registered = std::atexit(finishWritesAtExit) == 0;
  (void)registered;
  {
    std::lock_guard<std::mutex> lock(writers().mutex);
    writers().list.push_back(this);
  }
  _thread = std::thread([this] { run(); });
}

PelorinFileWriter::~PelorinFileWriter() {
  {
    std::lock_guard<std::mutex> lock(writers().mutex);
    auto& list = writers().list;
    list.erase(std::remove(list.begin(), list.end(), this), list.end());
  }
  {
    std::lock_guard<std::mutex> lock(_mutex);
    _stop = true;
  }
  _wake.notify_one();
  _thread.join();
}

void PelorinFileWriter::insert(Pending item) {
  auto after = std::find_if(_pending.begin(), _pending.end(),
                            [&](const Pending& waiting) { return waiting.order > item.order; });
  _pending.insert(after, std::move(item));
}

void PelorinFileWriter::write(std::string fileName, Order order, Encoder encode) {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    auto same = std::find_if(_pending.begin(), _pending.end(),
                             [&](const Pending& waiting) { return waiting.fileName == fileName; });
    if (same != _pending.end()) {
      same->encode = std::move(encode);
      same->text.reset();
    } else {
      insert(Pending{std::move(fileName), order, std::move(encode), std::nullopt});
    }
    _roundDue = true;
  }
  _wake.notify_one();
}

void PelorinFileWriter::writeText(std::string fileName, std::string text) {
  write(std::move(fileName), Order::kText,
        [text = std::move(text)]() -> std::optional<std::string> { return text; });
}

void PelorinFileWriter::retry() {
  {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_pending.empty()) return;
    _roundDue = true;
  }
  _wake.notify_one();
}

void PelorinFileWriter::waitUntilIdle() {
  std::unique_lock<std::mutex> lock(_mutex);
  _idle.wait(lock, [this] { return idle(); });
}

bool PelorinFileWriter::waitUntilIdleFor(std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(_mutex);
  return _idle.wait_for(lock, timeout, [this] { return idle(); });
}

void PelorinFileWriter::run() {
  std::unique_lock<std::mutex> lock(_mutex);
  for (;;) {
    _wake.wait(lock, [this] { return _roundDue || _stop; });
    if (!_roundDue) break;
    _roundDue = false;
    _busy = true;
    std::vector<Pending> round = std::move(_pending);
    _pending.clear();
    lock.unlock();

    std::vector<Pending> kept;
    bool orderBroken = false;
    for (auto& item : round) {
      // A log or cache write may not overtake one of its round that failed.
      if (orderBroken && item.order != Order::kText) {
        kept.push_back(std::move(item));
        continue;
      }
      if (!item.text) {
        item.text = item.encode();
        item.encode = nullptr;
        if (!item.text) continue;
      }
      auto failing = std::find(_failing.begin(), _failing.end(), item.fileName);
      const bool logged = failing != _failing.end();
      if (PelorinDataManager::writeStringToFile(*item.text, item.fileName, !logged)) {
        if (logged) _failing.erase(failing);
        continue;
      }
      if (!logged) _failing.push_back(item.fileName);
      if (item.order != Order::kText) orderBroken = true;
      kept.push_back(std::move(item));
    }

    lock.lock();
    // What failed waits again, unless newer content of its file came meanwhile.
    // Each goes before the newer items of its order: the last kept first.
    std::reverse(kept.begin(), kept.end());
    for (auto& item : kept) {
      const bool replaced =
          std::any_of(_pending.begin(), _pending.end(),
                      [&](const Pending& waiting) { return waiting.fileName == item.fileName; });
      if (replaced) continue;
      auto first = std::find_if(_pending.begin(), _pending.end(), [&](const Pending& waiting) {
        return waiting.order >= item.order;
      });
      _pending.insert(first, std::move(item));
    }
    _busy = false;
    if (idle()) _idle.notify_all();
  }
  _busy = false;
  _idle.notify_all();
}

}  // namespace pelorin
