#include <sys/utsname.h>

#include "pelorin/platform/headless.h"

namespace pelorin::platform {
namespace {

// One field of uname(2); "" when the call fails, which it does not on a working system.
template <typename Field>
std::string unameField(Field field) {
  struct utsname names {};
  if (uname(&names) != 0) return "";
  return std::string(names.*field);
}

}  // namespace

std::string PosixDevice::systemName() const { return unameField(&utsname::sysname); }

std::string PosixDevice::systemVersion() const { return unameField(&utsname::release); }

std::string PosixDevice::hardwareModel() const { return unameField(&utsname::machine); }

std::optional<std::string> PosixDevice::advertisingIdentifier() const { return std::nullopt; }

HeadlessDevice::HeadlessDevice(std::string systemName, std::string systemVersion,
                               std::string hardwareModel,
                               std::optional<std::string> advertisingIdentifier)
    : _systemName(std::move(systemName)),
      _systemVersion(std::move(systemVersion)),
      _hardwareModel(std::move(hardwareModel)),
      _advertisingIdentifier(std::move(advertisingIdentifier)) {}

std::string HeadlessDevice::systemName() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _systemName;
}

std::string HeadlessDevice::systemVersion() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _systemVersion;
}

std::string HeadlessDevice::hardwareModel() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _hardwareModel;
}

std::optional<std::string> HeadlessDevice::advertisingIdentifier() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _advertisingIdentifier;
}

void HeadlessDevice::setSystemName(std::string name) {
  std::lock_guard<std::mutex> lock(_mutex);
  _systemName = std::move(name);
}

void HeadlessDevice::setSystemVersion(std::string version) {
  std::lock_guard<std::mutex> lock(_mutex);
  _systemVersion = std::move(version);
}

void HeadlessDevice::setHardwareModel(std::string model) {
  std::lock_guard<std::mutex> lock(_mutex);
  _hardwareModel = std::move(model);
}

void HeadlessDevice::setAdvertisingIdentifier(std::optional<std::string> identifier) {
  std::lock_guard<std::mutex> lock(_mutex);
  _advertisingIdentifier = std::move(identifier);
}

}  // namespace pelorin::platform
