#include "hosting/StopSignals.h"

#include <csignal>

#include <gtest/gtest.h>

namespace {

TEST(StopSignalNames, AreReadWithOrWithoutTheirPrefix) {
  const struct {
    std::string_view text;
    ApplicationKind kind;
    std::vector<int> signals;
    std::string_view unusable;
  } rows[] = {
      {"", ApplicationKind::java, {}, ""},
      {" ", ApplicationKind::java, {}, ""},
      {"TERM", ApplicationKind::java, {SIGTERM}, ""},
      {" SIGHUP,\tINT ", ApplicationKind::java, {SIGHUP, SIGINT}, ""},
      {"QUIT,USR1", ApplicationKind::java, {SIGQUIT, SIGUSR1}, ""},
      {"USR2", ApplicationKind::native, {SIGUSR2}, ""},
      {"USR2", ApplicationKind::java, {}, "USR2"},
      {"SIGSEGV", ApplicationKind::native, {}, "SIGSEGV"},
      {"TERM,KILL,INT", ApplicationKind::native, {SIGTERM}, "KILL"},
      {"term", ApplicationKind::java, {}, "term"},
      {"SIG", ApplicationKind::java, {}, "SIG"},
      {"XTERM", ApplicationKind::java, {}, "XTERM"},
      {"INT,", ApplicationKind::java, {SIGINT}, ","},
  };
  for (const auto& row : rows) {
    const StopSignalNames names = StopSignalNames::parse(row.text, row.kind);
    EXPECT_EQ(names.signals, row.signals) << row.text;
    EXPECT_EQ(names.unusable, row.unusable) << row.text;
  }
}

}  // namespace
