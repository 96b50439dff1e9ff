// Plain POSIX reads for the benchmarks' baselines: what the library's own file access is
// compared with.
#ifndef PELORIN_BENCH_RAW_FILE_H_
#define PELORIN_BENCH_RAW_FILE_H_

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <string>

namespace pelorin::bench {

// The whole file; empty when it cannot be opened.
inline std::string readAll(const std::string& path) {
  std::string data;
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return data;
  char buffer[64 * 1024];
  ssize_t count = 0;
  while ((count = ::read(fd, buffer, sizeof buffer)) > 0) {
    data.append(buffer, static_cast<std::size_t>(count));
  }
  ::close(fd);
  return data;
}

}  // namespace pelorin::bench

#endif  // PELORIN_BENCH_RAW_FILE_H_
