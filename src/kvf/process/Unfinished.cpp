#include "kvf/process/Unfinished.h"

#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace {

void write(std::string_view text) {
  static_cast<void>(::write(STDERR_FILENO, text.data(), text.size()) > 0);
}

}  // namespace

Unfinished::~Unfinished() {
  Unfinished** link = &first_;
  while (*link != this) link = &(*link)->next_;
  *link = next_;
}

void Unfinished::takeAllBack() noexcept {
  for (Unfinished* each = first_; each != nullptr; each = each->next_) each->takeBack();
}

void Unfinished::say(std::initializer_list<std::string_view> pieces) noexcept {
  write("kvf: ");
  for (const std::string_view piece : pieces) write(piece);
  write("\n");
}

void Unfinished::removeFile(const std::string& file) noexcept {
  for (const bool isLast : {false, true}) {
    if (::unlink(file.c_str()) == 0 || errno == ENOENT) return;
    if (isLast) say({"cannot remove ", file, ": ", std::strerror(errno)});
  }
}
