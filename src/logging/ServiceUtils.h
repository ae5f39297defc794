#ifndef VELOX_LOGGING_SERVICEUTILS_H
#define VELOX_LOGGING_SERVICEUTILS_H

#include "foundation/WString.h"

/// The path of the service binary, empty unless a host program sets it.
class ServiceUtils {
 public:
  static void SetServiceBinaryPath(const WString& path) { s_BinaryPath = path; }
  static WString GetServiceBinaryPath() { return s_BinaryPath; }

 private:
  static WString s_BinaryPath;
};

#endif
