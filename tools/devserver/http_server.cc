#include "devserver/http_server.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>

namespace pelorin::devserver {
namespace {

// Set by a handler of this thread's current request.
thread_local bool tDropConnection = false;

int toMilliseconds(time_t seconds, time_t microseconds) {
  return static_cast<int>(seconds * 1000 + microseconds / 1000);
}

bool waitFor(int sock, short events, int timeoutMs) {
  pollfd entry{.fd = sock, .events = events, .revents = 0};
  int ready = 0;
  do {
    ready = ::poll(&entry, 1, timeoutMs);
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

void addressOf(const sockaddr_storage& address, socklen_t length, std::string& ip, int& port) {
  std::array<char, NI_MAXHOST> host{};
  std::array<char, NI_MAXSERV> service{};
  if (getnameinfo(reinterpret_cast<const sockaddr*>(&address), length, host.data(), host.size(),
                  service.data(), service.size(), NI_NUMERICHOST | NI_NUMERICSERV) == 0) {
    ip = host.data();
    port = std::atoi(service.data());
  }
}

// A connection's socket with a small read buffer (the request parser reads byte by byte)
// that writes nothing once its handler dropped the connection.
class ConnectionStream : public httplib::Stream {
 public:
  ConnectionStream(int sock, int readTimeoutMs, int writeTimeoutMs)
      : _sock(sock), _readTimeoutMs(readTimeoutMs), _writeTimeoutMs(writeTimeoutMs) {}

  bool is_readable() const override {  // NOLINT(readability-identifier-naming)
    return _begin < _end || waitFor(_sock, POLLIN, _readTimeoutMs);
  }
  bool is_writable() const override {  // NOLINT(readability-identifier-naming)
    return !tDropConnection && waitFor(_sock, POLLOUT, _writeTimeoutMs);
  }

  ssize_t read(char* ptr, size_t size) override {
    if (_begin == _end) {
      if (!waitFor(_sock, POLLIN, _readTimeoutMs)) return -1;
      ssize_t got = 0;
      do {
        got = ::recv(_sock, _buffer.data(), _buffer.size(), 0);
      } while (got < 0 && errno == EINTR);
      if (got <= 0) return got;
      _begin = 0;
      _end = static_cast<size_t>(got);
    }
    const size_t count = std::min(size, _end - _begin);
    std::copy_n(_buffer.data() + _begin, count, ptr);
    _begin += count;
    return static_cast<ssize_t>(count);
  }

  ssize_t write(const char* ptr, size_t size) override {
    if (tDropConnection || !waitFor(_sock, POLLOUT, _writeTimeoutMs)) return -1;
    ssize_t sent = 0;
    do {
      sent = ::send(_sock, ptr, size, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent;
  }

  // NOLINTNEXTLINE(readability-identifier-naming)
  void get_remote_ip_and_port(std::string& ip, int& port) const override {
    sockaddr_storage address{};
    socklen_t length = sizeof(address);
    if (getpeername(_sock, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
      addressOf(address, length, ip, port);
    }
  }

  // NOLINTNEXTLINE(readability-identifier-naming)
  void get_local_ip_and_port(std::string& ip, int& port) const override {
    sockaddr_storage address{};
    socklen_t length = sizeof(address);
    if (getsockname(_sock, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
      addressOf(address, length, ip, port);
    }
  }

  socket_t socket() const override { return _sock; }

 private:
  int _sock;
  int _readTimeoutMs;
  int _writeTimeoutMs;
  std::array<char, 4096> _buffer{};
  size_t _begin = 0;
  size_t _end = 0;
};

}  // namespace

HttpServer::HttpServer() {
  // Without it, Nagle's algorithm and the peer's delayed acknowledgement hold back the
  // last segment of an answer on a kept-alive connection by about 40 ms.
  set_tcp_nodelay(true);
  // Address reuse lets a server restart on its port at once; port sharing (which the
  // library turns on by default) would let two servers take the same port unnoticed.
  set_socket_options([](socket_t sock) {
    const int on = 1;
    setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on));
  });
}

void HttpServer::dropConnection() { tDropConnection = true; }

bool HttpServer::connectionDropped() { return tDropConnection; }

bool HttpServer::process_and_close_socket(socket_t sock) {
  const int on = 1;
  setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
  ConnectionStream stream(sock, toMilliseconds(read_timeout_sec_, read_timeout_usec_),
                          toMilliseconds(write_timeout_sec_, write_timeout_usec_));
  bool ok = false;
  for (size_t left = keep_alive_max_count_; left > 0 && waitForNextRequest(sock); --left) {
    tDropConnection = false;
    bool closed = false;
    ok = process_request(stream, left == 1, closed, nullptr);
    if (!ok || closed || tDropConnection) break;
  }
  tDropConnection = false;
  ::shutdown(sock, SHUT_RDWR);
  ::close(sock);
  return ok;
}

bool HttpServer::waitForNextRequest(socket_t sock) const {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::seconds(keep_alive_timeout_sec_);
  while (svr_sock_ != INVALID_SOCKET) {
    if (waitFor(sock, POLLIN, 10)) return true;
    if (Clock::now() >= deadline) return false;
  }
  return false;
}

}  // namespace pelorin::devserver

// cpp-httplib comes as a shared library built without ThreadSanitizer. Its function-local
// statics (such as the set of method names every request is checked against) are read on
// a fast path TSan cannot see guarded, so two requests served at once are reported as a
// race inside the library. Those reports come from the memcpy/memcmp interceptors it
// calls; our own code is instrumented and still checked. Any program that links the
// devserver gets this default.
// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the sanitizer's hook
extern "C" const char* __tsan_default_suppressions() {
  return "called_from_lib:libcpp-httplib.so\n";
}
