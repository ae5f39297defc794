#include "logging/EventLogging.h"

#include <gtest/gtest.h>

#include "support/Child.h"
#include "support/Values.h"

namespace {

/// What messages print once the catalogue is loaded.
Outcome printed(const std::function<void()>& action) {
  return inChild([&] {
    EventLogging::Initialize(props({{"ntservice.name", "n"}}));
    action();
  });
}

TEST(EventLogging, HasACatalogue) {
  const auto every = [] {
    for (long number = 0xC00003E7L; number <= 0xC00003FCL; ++number) EventLogging::Info(number, 0);
  };
  EXPECT_EQ(
      printed(every).out,
      "0xC00003E7\n"
      "Failed to open the Service Control Manager.\n"
      "Service is not installed, service name : %1.\n"
      "Failed to create the service, service name : %1\n"
      "the property \"ntservice.name\" is required to install as a service.\n"
      "Missing property \"ntservice.binary.path.absolute\" is required when installing an NT "
      "service\n"
      "Failed to create/open the registry at path=%s\n"
      "Failed to write a startup property to the registry - name=%s.\n"
      "Failed to start the service, service name : %s\n"
      "QueryServiceStatus() returned an error, service name : %s\n"
      "Failed to load shared library, library name : %s\n"
      "The JVM version in the Registry is: %s , which the wrapper does not support. Please set "
      "\"java.library\" in the properties file to point to a 1.2 or later jvm.dll\n"
      "Failed to create the Java VM\n"
      "Failed to get java.lang.String from JVM Env\n"
      "Failed to create object array for application args\n"
      "Failed to allocated memory for Java application command line arguments\n"
      "Failed to set Java application command line arguments\n"
      "No java.start.class specified in config - bad properties file?\n"
      "Unable to find the start class\n"
      "Unable to find the static start method for the start class\n"
      "No application.library or java.library specified in config - bad properties file?\n"
      "0xC00003FC\n");
}

TEST(EventLogging, FormatsItsArguments) {
  const std::string text = "Failed to load shared library, library name : ";
  const std::string path(5000, 'p');
  EXPECT_EQ(printed([] { EventLogging::Info(0xC00003F1L, 1, "/x.so"); }),
            (Outcome{0, text + "/x.so\n"}));
  EXPECT_EQ(printed([&] { EventLogging::Info(0xC00003F1L, 1, path.c_str()); }).out,
            text + path + "\n");
  EXPECT_EQ(printed([] { EventLogging::Info(0xC00003EAL, 1, "x"); }).out,
            "Failed to create the service, service name : %1\n");
}

TEST(EventLogging, BeforeTheCatalogueIsLoadedItHasNumbersOnly) {
  EXPECT_EQ(inChild([] { EventLogging::FatalError(0xC00003F1L, 1, "x"); }),
            (Outcome{255, "0xC00003F1\n"}));
}

}  // namespace
