#ifndef VELOX_TESTS_SUPPORT_REPLAY_H
#define VELOX_TESTS_SUPPORT_REPLAY_H

#include <cstddef>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

/// Runs a fuzzer on the files of its corpus and on so many random inputs, the same ones every time,
/// in a child: the files damaged, and joins of their pieces. The first input on which it throws
/// fails the test.
void replay(const std::string& corpus, std::size_t inputs, void (*fuzz)(std::string_view input));

#endif
