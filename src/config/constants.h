// Library-wide constants: the SDK's name and the storage file names.
#ifndef PELORIN_SRC_CONFIG_CONSTANTS_H_
#define PELORIN_SRC_CONFIG_CONSTANTS_H_

#include <array>
#include <string>

namespace pelorin {

struct Constants {
  static inline const std::string SDK_VERSION = "2.8.2";
  // Sent as the "User-Agent" header.
  static inline const std::string PELORIN_NAME = "Pelorin iOS SDK " + SDK_VERSION;

  struct Files {
    // Version of the stored formats, part of their file names: a change of the commit-log
    // or cache encoding changes the names, so files of an older encoding are never read.
    static inline const std::string STORAGE_VERSION = "5.2";
    static inline const std::string EXTENSION = ".data";

    static inline const std::string COMMITLOG = "plcommitlog" + STORAGE_VERSION + EXTENSION;
    static inline const std::string REQUEST_COMMITLOG =
        "plrequestcommitlog" + STORAGE_VERSION + EXTENSION;
    static inline const std::string CACHE = "cache" + STORAGE_VERSION + EXTENSION;
    static inline const std::string ID = "id" + EXTENSION;
    static inline const std::string ENABLED = "enabled" + EXTENSION;
    static inline const std::string SIMULATOR_USERNAME = "plsimulatorusername" + EXTENSION;
    static inline const std::string SIMULATOR_MOBILESESSION =
        "plsimulatormobilesession" + EXTENSION;
    // The HTTP cookies of the server's visitor (Netscape cookie-file format), so the server
    // still recognises the visitor after a restart.
    static inline const std::string COOKIES = "plcookies" + EXTENSION;
    // The same three files under the names of the earlier, unversioned storage.
    static inline const std::array<std::string, 3> PL_FILES = {
        "plcommitlog" + EXTENSION, "plrequestcommitlog" + EXTENSION, "cache" + EXTENSION};
  };
};

}  // namespace pelorin

#endif  // PELORIN_SRC_CONFIG_CONSTANTS_H_
