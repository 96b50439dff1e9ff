// Builders that turn a page view's "segments" and "connections" lists into values.
#ifndef PELORIN_SRC_CLIENT_SEGMENTS_AND_CONNECTIONS_H_
#define PELORIN_SRC_CLIENT_SEGMENTS_AND_CONNECTIONS_H_

#include <vector>

#include "pelorin/json_value.h"
#include "pelorin/pelorin_segment.h"

namespace pelorin {

// One segment per object with a string "id" and a string "name", in list order; other
// elements are skipped. Logs "<n> segment(s) added!".
std::vector<PelorinSegment> addSegments(JsonRef list);

// One connection per object with a string "id" and a non-empty "parameters" list whose first
// entry's "parameter" list gives the parameters. Logs "<n> connection(s) added!".
std::vector<Connection> addConnections(JsonRef list);

}  // namespace pelorin

#endif  // PELORIN_SRC_CLIENT_SEGMENTS_AND_CONNECTIONS_H_
