#ifndef VELOX_LOGGING_EVENTLOGGING_H
#define VELOX_LOGGING_EVENTLOGGING_H

#include <cstdarg>
#include <memory>

#include "foundation/JMap.h"
#include "foundation/Properties.h"
#include "foundation/WString.h"

/// The numbers of the catalogue messages that the launcher issues.
namespace message {
inline constexpr long failedToLoadLibrary = 0xC00003F1L;
inline constexpr long failedToCreateJavaVm = 0xC00003F3L;
inline constexpr long noStringClass = 0xC00003F4L;
inline constexpr long noArgumentArray = 0xC00003F5L;
inline constexpr long noArgumentString = 0xC00003F6L;
inline constexpr long argumentNotStored = 0xC00003F7L;
inline constexpr long noStartClassConfigured = 0xC00003F8L;
inline constexpr long startClassNotFound = 0xC00003F9L;
inline constexpr long startMethodNotFound = 0xC00003FAL;
inline constexpr long noLibraryConfigured = 0xC00003FBL;
}  // namespace message

/// Messages by number, from a fixed catalogue.
class EventLogging {
 public:
  /// Opens the catalogue and reads the service name. Before that every number counts as unknown.
  static void Initialize(const SimpleProperties& properties);

  /// Writes message `number` like Logging::FatalError and ends the process with status 255. With a
  /// positive `count` a text with "%s" is a printf format for the arguments, which are C strings;
  /// else it is written as it is. An unknown number is written as a number.
  [[noreturn]] static void FatalError(long number, int count, ...);
  /// The same through Logging::Info.
  static void Info(long number, int count, ...);

  /// Recorded only: there is no event log on this platform. Interface only.
  static void SetUseEventLogging() { m_useEventLog = true; }

 private:
  /// Null for an unknown number. Most launches need no message, so the first one loads the
  /// catalogue.
  static const WString* textOf(long number);
  static WString format(long number, int count, std::va_list arguments);

  static std::unique_ptr<JMap<long, WString>> m_pMessageBundle;
  static WString m_serviceName;
  static bool m_isInitialized;
  static bool m_useEventLog;
};

#endif
