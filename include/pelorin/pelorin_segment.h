// Segments the visitor's profile belongs to and connections configured for the site, as
// the last page view's answer gave them. Immutable values; safe to share between threads.
#ifndef PELORIN_PELORIN_SEGMENT_H_
#define PELORIN_PELORIN_SEGMENT_H_

#include <string>
#include <utility>

#include "pelorin/export.h"
#include "pelorin/pelorin_types.h"

namespace pelorin {

class PELORIN_EXPORT PelorinSegment {
 public:
  PelorinSegment(std::string id, std::string name) : _id(std::move(id)), _name(std::move(name)) {}
  const std::string& getId() const { return _id; }
  const std::string& getName() const { return _name; }

 private:
  std::string _id;
  std::string _name;
};

// A server-configured link to an outside system, with its parameters.
class PELORIN_EXPORT Connection {
 public:
  Connection(std::string id, Parameters parameters)
      : _id(std::move(id)), _parameters(std::move(parameters)) {}
  const std::string& getId() const { return _id; }
  const Parameters& getParameters() const { return _parameters; }

 private:
  std::string _id;
  Parameters _parameters;
};

}  // namespace pelorin

#endif  // PELORIN_PELORIN_SEGMENT_H_
