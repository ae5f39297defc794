#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <system_error>

#include "config/PropertiesScanner.h"
#include "kvf/formats/ClassNames.h"
#include "kvf/launch/Secrets.h"
#include "kvf/lsp/Cursor.h"
#include "kvf/lsp/Features.h"
#include "kvf/lsp/KeyWords.h"
#include "kvf/lsp/LaunchView.h"
#include "kvf/text/PropertiesSpelling.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

enum class ItemKind : int { variable = 6, type = 7, property = 10, file = 17, folder = 19 };

constexpr std::size_t maxItems = 1000;

/// The proposals, all in place of the same stretch.
class Items {
 public:
  Items(const Question& question, std::size_t replaced)
      : words_{.markdown = prefersMarkdown(
                   question.client, {"completion", "completionItem", "documentationFormat"})} {
    const TextDocument& document = question.document.document;
    const std::size_t end = document.offsetOf(question.place);
    range_ = asJson(document.rangeOf(end - replaced, end));
  }

  /// Returns the item, to be completed until the next one.
  Json& add(const std::string& label, ItemKind kind, const std::string& text) {
    items_.push_back({{"label", printable(label)},
                      {"kind", kind},
                      {"textEdit", {{"range", range_}, {"newText", text}}}});
    return items_.back();
  }
  [[nodiscard]] bool isFull() const { return items_.size() >= maxItems; }
  [[nodiscard]] const Words& words() const { return words_; }
  [[nodiscard]] Json list() const { return {{"isIncomplete", isFull()}, {"items", items_}}; }

 private:
  Words words_;
  Json range_;
  Json items_ = Json::array();
};

bool hasSeparator(const Question& question, std::size_t offset) {
  const std::string& text = question.document.document.text();
  const std::size_t next = text.find_first_of("=: \t\r\n", offset);
  return next != std::string::npos && text[next] != '\r' && text[next] != '\n';
}

Json keyItems(const Question& question, std::size_t offset, const Cursor& cursor) {
  Items items(question, offset - cursor.keyAt);
  const bool isWhole = hasSeparator(question, offset);
  for (const KeyInfo& info : allKeys()) {
    if (info.use != KeyUse::file) continue;
    const bool isOpen = info.rest != nullptr && std::string_view(info.rest) != "...";
    Json& item = items.add(info.name, ItemKind::property,
                           isWhole || isOpen ? info.name : concat({info.name, "="}));
    item["detail"] = info.type;
    item["documentation"] = items.words().asJson(keyWords(info.name, items.words()));
  }
  return items.list();
}

/// What a reference would be replaced by.
struct Variable {
  std::string value;
  std::string place;
  const char* rank = "1";  ///< those of the files come first
};

/// The variables that a reference in the entry could name, as the launcher searches them.
std::map<std::string, Variable> variablesFor(const Inspection& inspection, const Entry* entry) {
  std::map<std::string, Variable> found;
  const auto& environment = inspection.surroundings.environment;
  for (const auto& [name, value] : environment) found[name] = {value, "environment", "3"};
  for (const KeyInfo& info : allKeys()) {
    if (info.use != KeyUse::launcher || info.rest != nullptr) continue;
    if (const auto value = inspection.value(info.name))
      found[info.name] = {*value, "built in", "2"};
  }
  for (const Entry& earlier : inspection.run().entries) {
    if (&earlier == entry) break;
    if (earlier.isInclude || earlier.skipped) continue;
    const std::string place = inspection.nameOf(earlier.at);
    Variable& variable = found[earlier.key];
    // The environment is searched first.
    if (!environment.contains(earlier.key)) variable = {earlier.value, place};
    variable.rank = "1";
    if (earlier.exported) found[std::string(earlier.variable())] = {*earlier.exported, place, "1"};
  }
  return found;
}

Json variableItems(const Question& question, std::size_t offset, const Cursor& cursor) {
  Items items(question, cursor.reference->size());
  const std::string& text = question.document.document.text();
  const bool isClosed = offset < text.size() && text[offset] == '%';
  LaunchView view(question.workspace, question.launch);
  for (Inspection& inspection : view.inspections()) Secrets(inspection).mask(inspection);
  const std::optional<Spot> spot = spotOf(question, view);
  const Inspection& inspection = spot ? *spot->inspection : view.inspections().front();
  for (const auto& [name, variable] : variablesFor(inspection, spot ? spot->entry : nullptr)) {
    if (!name.starts_with(*cursor.reference)) continue;
    if (items.isFull()) break;
    Json& item = items.add(name, ItemKind::variable, isClosed ? name : concat({name, "%"}));
    item["detail"] = shown(variable.value);
    item["documentation"] = "from " + printable(variable.place);
    item["sortText"] = variable.rank + name;
  }
  return items.list();
}

/// The document without the rest of the value that the cursor is in: its entry then has the value
/// up to the cursor.
std::string cutAtCursor(const std::string& text, std::size_t offset) {
  PropertiesScanner scanner(text);
  for (PropertiesEntry entry; scanner.next(entry);)
    if (entry.keyAt < offset && entry.endAt >= offset)
      return text.substr(0, offset) + text.substr(entry.endAt);
  return text;
}

Json fileItems(const Question& question, std::size_t offset, const std::string& value,
               const std::string& folder, bool isList) {
  const std::size_t start = isList ? value.find_last_of(":;") + 1 : 0;
  const std::string path = value.substr(start);
  const std::size_t slash = path.rfind('/') + 1;
  const std::string typed = path.substr(slash);
  const std::string_view before =
      std::string_view(question.document.document.text()).substr(0, offset);
  // What comes from a variable cannot be replaced.
  if (!before.ends_with(typed)) return nullptr;
  Items items(question, typed.size());
  std::error_code error;
  const fs::path listed = fs::path(folder) / path.substr(0, slash);
  for (fs::directory_iterator entry(listed, fs::directory_options::skip_permission_denied, error),
       end;
       !error && entry != end && !items.isFull(); entry.increment(error)) {
    const std::string name = entry->path().filename();
    const bool isHidden = name.starts_with('.') && !typed.starts_with('.');
    if (isHidden || !name.starts_with(typed)) continue;
    std::error_code unknown;
    const bool isFolder = entry->is_directory(unknown);
    const bool isWhole = start + slash == 0 && typed.empty();
    const std::string spelled = isWhole ? spelledInPropertiesFile(name) : spelledPart(name);
    items.add(isFolder ? name + "/" : name, isFolder ? ItemKind::folder : ItemKind::file,
              spelled + (isFolder ? "/" : ""));
  }
  return items.list();
}

/// Only the last part of a name may have been typed.
bool isMeant(std::string_view name, std::string_view typed) {
  return name.starts_with(typed) || name.substr(name.rfind('/') + 1).starts_with(typed);
}

Json classItems(const Question& question, const Inspection& inspection, const Cursor& cursor) {
  if (!inspection.classPath) return nullptr;
  Items items(question, cursor.written.size());
  std::string typed = cursor.written;
  std::replace(typed.begin(), typed.end(), '.', '/');
  std::set<std::string> names;
  for (const ScannedElement& element : inspection.classPath->elements()) {
    if (element.kind == ScannedElement::Kind::missing) continue;
    forEachClass(element.path, element.kind == ScannedElement::Kind::folder,
                 [&](std::string_view name) {
                   if (isMeant(name, typed)) names.emplace(name);
                   return names.size() < maxItems;
                 });
  }
  for (std::string name : names) {
    std::replace(name.begin(), name.end(), '/', '.');
    Json& item = items.add(name, ItemKind::type, name);
    // Where there is no need for it, some editors are better off without the member.
    if (!name.starts_with(cursor.written)) item["filterText"] = name.substr(name.rfind('.') + 1);
  }
  return items.list();
}

Json valueItems(const Question& question, std::size_t offset, const Cursor& cursor) {
  const KeyInfo* info = findKey(cursor.key);
  const KeyNames names = info == nullptr ? KeyNames::nothing : info->names;
  const bool isPath = cursor.written.find('/') != std::string::npos;
  if (names == KeyNames::nothing && !isPath) return nullptr;
  LaunchView view(
      question.workspace, question.launch,
      {{question.document.uri, cutAtCursor(question.document.document.text(), offset)}});
  const std::optional<Spot> spot = spotOf(question, view);
  if (!spot) return nullptr;
  if (names == KeyNames::startClass) return classItems(question, *spot->inspection, cursor);
  const LaunchPlan& plan = spot->inspection->plan;
  return fileItems(question, offset, spot->entry->value,
                   names == KeyNames::fileAtLauncher ? plan.outerDirectory : plan.directory,
                   names == KeyNames::files || names == KeyNames::nothing);
}

}  // namespace

Json completionAt(const Question& question) {
  const TextDocument& document = question.document.document;
  const std::size_t offset = document.offsetOf(question.place);
  const Cursor cursor = cursorAt(document.text(), offset);
  switch (cursor.where) {
    case Cursor::Where::nothing:
      return nullptr;
    case Cursor::Where::key:
      return keyItems(question, offset, cursor);
    case Cursor::Where::value:
      break;
  }
  return cursor.reference ? variableItems(question, offset, cursor)
                          : valueItems(question, offset, cursor);
}
