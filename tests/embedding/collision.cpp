// A host with classes that are named as the launcher's own, and that differ from them.
#include <cstdio>
#include <string>
#include <vector>

#include "velox/launch_wrapper.h"

class WString {
 public:
  WString(const char* text);
  ~WString();
  [[nodiscard]] const char* c_str() const;

 private:
  std::string text_;
  std::string more_ = "host";
};

WString::WString(const char* text) : text_(text) {}
WString::~WString() = default;
const char* WString::c_str() const {
  return text_.c_str();
}

namespace {

int hostMain(int argc, char** argv) {
  std::vector<WString> texts;
  for (int i = 1; i < argc; ++i) texts.emplace_back(argv[i]);
  for (const WString& text : texts) std::printf("[%s]", text.c_str());
  return 7;
}

}  // namespace

int main(int argc, char** argv) {
  return LaunchWrapper(argc, argv, hostMain, nullptr);
}
