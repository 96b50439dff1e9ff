#include "json/bounded_parse.h"

#include <boost/json/parser.hpp>
#include <boost/json/storage_ptr.hpp>

#include <new>

#include "json/json_value_access.h"

namespace pelorin::json {

void* CappedMemoryResource::do_allocate(std::size_t bytes, std::size_t align) {
  Budget& budget = *_budget;
  if (!budget.lifted) {
    if (bytes > budget.cap - budget.inUse) throw std::bad_alloc();
    budget.inUse += bytes;
    if (budget.inUse > budget.peak) budget.peak = budget.inUse;
  }
  // The plain forms where they suffice: the aligned ones cost more on every call.
  if (align <= __STDCPP_DEFAULT_NEW_ALIGNMENT__) return ::operator new(bytes);
  return ::operator new (bytes, std::align_val_t{align});
}

void CappedMemoryResource::do_deallocate(void* p, std::size_t bytes, std::size_t align) {
  if (!_budget->lifted) _budget->inUse -= bytes;
  if (align <= __STDCPP_DEFAULT_NEW_ALIGNMENT__) {
    ::operator delete(p);
  } else {
    ::operator delete (p, std::align_val_t{align});
  }
}

std::string memoryLimitMessage(std::size_t memoryLimit) {
  return "the document takes more than " + std::to_string(memoryLimit) + " bytes to parse";
}

std::optional<JsonValue> parseBounded(std::string_view text, std::size_t memoryLimit,
                                      std::string* error, std::size_t* peakBytes) {
  auto budget = std::make_shared<CappedMemoryResource::Budget>(
      CappedMemoryResource::Budget{.cap = memoryLimit});
  boost::json::storage_ptr storage =
      boost::json::make_shared_resource<CappedMemoryResource>(budget);
  std::optional<JsonValue> result;
  try {
    // The parser's stack draws from the same resource as the document it builds: for an
    // array of tiny elements the stack is as large as the array.
    unsigned char buffer[BOOST_JSON_STACK_BUFFER_SIZE];
    boost::json::parser parser(storage, {}, buffer);
    parser.reset(storage);
    boost::json::error_code ec;
    parser.write(boost::json::string_view(text.data(), text.size()), ec);
    if (ec) {
      if (error != nullptr) *error = ec.message();
    } else {
      result.emplace(toJsonValue(parser.release()));
    }
  } catch (const std::bad_alloc&) {
    // Only the resource refuses below the global allocator's own limits; either way the
    // document cannot be had within the bound.
    if (error != nullptr) *error = memoryLimitMessage(memoryLimit);
  }
  if (peakBytes != nullptr) *peakBytes = budget->peak;
  budget->lifted = true;
  return result;
}

}  // namespace pelorin::json
