#include <thread>

#include <gtest/gtest.h>

#include "hosting/JavaProcess.h"
#include "javarun/JavaParameterParserUtil.h"
#include "support/Properties.h"

namespace {

TEST(HostedJvm, AppStopReachesTheApplicationFromAnotherThread) {
  const SimpleProperties properties = propertiesOf(
      "java.library=" VELOX_JVM_LIBRARY ";java.class.path=" VELOX_PROBE_JAR
      ";java.start.class=probe.Probe;"
      "java.heap.size.max=64m;java.extended.properties=-Dx=y z;java.property.probe.do=wait");
  std::vector<WString> options;
  {
    JavaProcess process(properties, false);
    EXPECT_FALSE(process.GetJVMVendorName().empty());
    process.SetExtendedJavaOptions(options);
    EXPECT_TRUE(process.SetClassPathOption(options));
    EXPECT_TRUE(process.SetOption(options, "-Xmx", "java.heap.size.max"));
    EXPECT_FALSE(process.SetOption(options, "-Xms", "java.heap.size.initial"));

    std::thread stopper([&] { process.AppStop(); });
    EXPECT_EQ(process.AppMain(), 0);
    stopper.join();
  }
  EXPECT_EQ(joined(options), "-Dx=y=z|-Djava.class.path=" VELOX_PROBE_JAR "|-Xmx64m|");
}

}  // namespace
