// Small value types shared across the public interface.
#ifndef PELORIN_PELORIN_TYPES_H_
#define PELORIN_PELORIN_TYPES_H_

#include <map>
#include <string>
#include <vector>

namespace pelorin {

// Server-style parameters: a name mapped to its list of string values.
using Parameters = std::map<std::string, std::vector<std::string>>;

}  // namespace pelorin

#endif  // PELORIN_PELORIN_TYPES_H_
