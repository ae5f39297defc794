#ifndef VELOX_TESTS_SUPPORT_REPLAY_H
#define VELOX_TESTS_SUPPORT_REPLAY_H

#include <string>
#include <string_view>

#include <gtest/gtest.h>

/// Runs a fuzzer on the files of its corpus and on random joins of their pieces, the same ones
/// every time, in a child. The first input on which it throws fails the test.
void replay(const std::string& corpus, void (*fuzz)(std::string_view input));

#endif
