#include "logging/EventLogging.h"

#include <cstdio>
#include <string>

#include "foundation/PropertyKeys.h"
#include "logging/Logging.h"

std::unique_ptr<JMap<long, WString>> EventLogging::m_pMessageBundle;
WString EventLogging::m_serviceName;
bool EventLogging::m_isInitialized = false;
bool EventLogging::m_useEventLog = false;

namespace {

constexpr int bucketCount = 41;

struct CatalogueMessage {
  long number;
  const char* text;
};

// Numbers and texts are shared with the Windows launcher, which issues those that are not named
// here; "%1" is its insertion style and stays as it is.
constexpr CatalogueMessage catalogue[] = {
    {0xC00003E8L, "Failed to open the Service Control Manager."},
    {0xC00003E9L, "Service is not installed, service name : %1."},
    {0xC00003EAL, "Failed to create the service, service name : %1"},
    {0xC00003EBL, "the property \"ntservice.name\" is required to install as a service."},
    {0xC00003ECL,
     "Missing property \"ntservice.binary.path.absolute\" is required when installing an NT "
     "service"},
    {0xC00003EDL, "Failed to create/open the registry at path=%s"},
    {0xC00003EEL, "Failed to write a startup property to the registry - name=%s."},
    {0xC00003EFL, "Failed to start the service, service name : %s"},
    {0xC00003F0L, "QueryServiceStatus() returned an error, service name : %s"},
    {message::failedToLoadLibrary, "Failed to load shared library, library name : %s"},
    {0xC00003F2L,
     "The JVM version in the Registry is: %s , which the wrapper does not support. Please set "
     "\"java.library\" in the properties file to point to a 1.2 or later jvm.dll"},
    {message::failedToCreateJavaVm, "Failed to create the Java VM"},
    {message::noStringClass, "Failed to get java.lang.String from JVM Env"},
    {message::noArgumentArray, "Failed to create object array for application args"},
    {message::noArgumentString,
     "Failed to allocated memory for Java application command line arguments"},
    {message::argumentNotStored, "Failed to set Java application command line arguments"},
    {message::noStartClassConfigured,
     "No java.start.class specified in config - bad properties file?"},
    {message::noLibraryConfigured,
     "No application.library or java.library specified in config - bad properties file?"},
    {message::startClassNotFound, "Unable to find the start class"},
    {message::startMethodNotFound, "Unable to find the static start method for the start class"},
};

}  // namespace

void EventLogging::Initialize(const SimpleProperties& properties) {
  m_useEventLog = false;
  properties.get(keys::serviceName, m_serviceName);
  m_isInitialized = true;
}

void EventLogging::FatalError(long number, int count, ...) {
  std::va_list arguments;
  va_start(arguments, count);
  const WString text = format(number, count, arguments);
  va_end(arguments);
  Logging::FatalError(text.c_str());
}

void EventLogging::Info(long number, int count, ...) {
  std::va_list arguments;
  va_start(arguments, count);
  const WString text = format(number, count, arguments);
  va_end(arguments);
  Logging::Info(text.c_str());
}

const WString* EventLogging::textOf(long number) {
  if (!m_isInitialized) return nullptr;
  if (!m_pMessageBundle) {
    m_pMessageBundle = std::make_unique<JMap<long, WString>>(bucketCount);
    for (const CatalogueMessage& entry : catalogue) m_pMessageBundle->put(entry.number, entry.text);
  }
  return m_pMessageBundle->get(number);
}

WString EventLogging::format(long number, int count, std::va_list arguments) {
  const WString* text = textOf(number);
  if (text == nullptr) {
    char digits[2 + 2 * sizeof number + 1];
    std::snprintf(digits, sizeof digits, "0x%lX", static_cast<unsigned long>(number));
    return digits;
  }
  if (count <= 0 || !text->contains("%s")) return *text;

  std::va_list measured;
  va_copy(measured, arguments);
  const int length = std::vsnprintf(nullptr, 0, text->c_str(), measured);
  va_end(measured);
  if (length < 0) return *text;
  std::string formatted(static_cast<std::size_t>(length), '\0');
  std::vsnprintf(formatted.data(), formatted.size() + 1, text->c_str(), arguments);
  return formatted.c_str();
}
