// A cpp-httplib server that serves each connection itself, so a request handler can end
// the connection without a byte of answer (which the library offers no way to do), and
// with TCP_NODELAY on every accepted socket.
//
// Thread safety: as httplib::Server; `dropConnection()` affects the calling handler's
// connection only.
#ifndef PELORIN_TOOLS_DEVSERVER_HTTP_SERVER_H_
#define PELORIN_TOOLS_DEVSERVER_HTTP_SERVER_H_

#include <httplib.h>

namespace pelorin::devserver {

class HttpServer : public httplib::Server {
 public:
  HttpServer();

  // Called from a request handler: nothing of the answer is written and the connection
  // is closed once the handler returns.
  static void dropConnection();
  // Whether the handler of this thread's current request dropped its connection.
  static bool connectionDropped();

 private:
  bool process_and_close_socket(socket_t sock) override;  // NOLINT(readability-identifier-naming)
  // Waits for the next request of a kept-alive connection; false when the connection
  // idles out or the server stops.
  bool waitForNextRequest(socket_t sock) const;
};

}  // namespace pelorin::devserver

#endif  // PELORIN_TOOLS_DEVSERVER_HTTP_SERVER_H_
