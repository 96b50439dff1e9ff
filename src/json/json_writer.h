// Appending JSON text to a buffer, for code that writes documents without building them.
#ifndef PELORIN_SRC_JSON_JSON_WRITER_H_
#define PELORIN_SRC_JSON_JSON_WRITER_H_

#include <string>
#include <string_view>

#include <boost/json/value.hpp>

#include "json/json_value_access.h"

namespace pelorin {

// `text` as a quoted, escaped JSON string; its bytes are copied as they are otherwise.
void appendJsonString(std::string& out, std::string_view text);
// `value` as compact JSON text, as serializeJson writes it.
void appendJson(std::string& out, const boost::json::value& value);

}  // namespace pelorin

#endif  // PELORIN_SRC_JSON_JSON_WRITER_H_
