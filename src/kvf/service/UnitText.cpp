#include "kvf/service/UnitText.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "kvf/text/Text.h"

namespace {

constexpr std::string_view blanks = " \t\r";

std::string_view withoutLeadingBlanks(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(blanks), text.size()));
}

std::string_view trimmed(std::string_view text) {
  const std::string_view rest = withoutLeadingBlanks(text);
  return rest.substr(0, rest.find_last_not_of(blanks) + 1);
}

/// True for a backslash at the end that no other backslash escapes.
bool isContinued(std::string_view line) {
  bool escaped = false;
  for (const char c : line) escaped = !escaped && c == '\\';
  return escaped;
}

/// A line with those that continue it.
struct JoinedLine {
  std::string text;
  std::vector<std::pair<std::size_t, std::size_t>> lines;
};

class Reader {
 public:
  Reader(std::string_view text, std::size_t file) : rest_(text), file_(file) {}

  UnitText read() {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (rest_.starts_with(byteOrderMark)) rest_.remove_prefix(byteOrderMark.size());
    while (const std::optional<JoinedLine> line = nextJoined()) take(*line);
    return std::move(result_);
  }

 private:
  std::optional<std::string_view> nextLine() {
    if (rest_.empty()) return std::nullopt;
    const std::size_t end = std::min(rest_.find('\n'), rest_.size());
    const std::string_view line = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    ++number_;
    return line;
  }

  std::optional<JoinedLine> nextJoined() {
    JoinedLine joined;
    while (const std::optional<std::string_view> line = nextLine()) {
      const std::string_view start = withoutLeadingBlanks(*line);
      if (start.starts_with('#') || start.starts_with(';')) continue;
      joined.lines.emplace_back(joined.text.size(), number_);
      joined.text += *line;
      if (!isContinued(*line)) return joined;
      joined.text.back() = ' ';
    }
    if (joined.lines.empty()) return std::nullopt;
    return joined;
  }

  void complain(const JoinedLine& line, std::string text) {
    result_.complaints.push_back({line.lines.front().second, std::move(text)});
  }

  void take(const JoinedLine& line) {
    const std::string_view text = trimmed(line.text);
    if (text.empty()) return;
    if (text.starts_with('[')) {
      if (!text.ends_with(']')) {
        complain(line, concat({shown(text), " lacks its \"]\", and systemd reads no further"}));
        rest_ = {};
        return;
      }
      section_ = text.substr(1, text.size() - 2);
      return;
    }
    const std::size_t equals = text.find('=');
    if (equals == std::string_view::npos || equals == 0) {
      complain(line, concat({shown(text), " is not KEY=VALUE, and systemd ignores it"}));
    } else if (section_.empty()) {
      complain(line, concat({shown(text), " is before the first section, such as [Service], ",
                             "and systemd ignores it"}));
    } else {
      add(line, text, equals);
    }
  }

  void add(const JoinedLine& line, std::string_view text, std::size_t equals) {
    const std::string_view value = trimmed(text.substr(equals + 1));
    UnitSetting setting = {
        section_, std::string(trimmed(text.substr(0, equals))), std::string(value), file_, {}};
    // The text and the value are stretches of the joined line, unless the value is empty.
    const std::size_t start =
        value.empty() ? 0 : static_cast<std::size_t>(value.data() - line.text.data());
    for (const auto& [offset, number] : line.lines) {
      if (offset > start) {
        setting.lines.emplace_back(offset - start, number);
      } else {
        setting.lines = {{0, number}};
      }
    }
    result_.settings.push_back(std::move(setting));
  }

  std::string_view rest_;
  std::size_t file_;
  std::size_t number_ = 0;
  std::string section_;
  UnitText result_;
};

}  // namespace

std::size_t UnitSetting::lineOf(std::size_t offset) const {
  const auto after =
      std::upper_bound(lines.begin(), lines.end(), offset,
                       [](std::size_t wanted, const auto& line) { return wanted < line.first; });
  return std::prev(after)->second;
}

UnitText parseUnitText(std::string_view text, std::size_t file) {
  return Reader(text, file).read();
}
