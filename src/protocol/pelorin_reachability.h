// Whether the device is connected to a network at all; the engine asks before every
// server exchange and skips the exchange when the answer is no.
//
// Thread safety: may be called from any thread; keeps no state.
#ifndef PELORIN_SRC_PROTOCOL_PELORIN_REACHABILITY_H_
#define PELORIN_SRC_PROTOCOL_PELORIN_REACHABILITY_H_

namespace pelorin {

class PelorinReachability {
 public:
  // True exactly when the platform reports the network reachable without first having to
  // establish a connection; false as well when the flags cannot be read.
  static bool isConnectedToNetwork();
};

}  // namespace pelorin

#endif  // PELORIN_SRC_PROTOCOL_PELORIN_REACHABILITY_H_
