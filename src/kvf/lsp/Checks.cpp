#include "kvf/lsp/Checks.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "kvf/lsp/Diagnostics.h"

namespace {

/// No need for findings between two keystrokes.
constexpr std::chrono::milliseconds quietTime(150);
constexpr std::chrono::seconds patience(30);
/// Copies of this process at one time.
constexpr std::size_t maxWorks = 2;

}  // namespace

Checks::Checks(const Workspace& workspace, Publish publish)
    : workspace_(workspace), publish_(std::move(publish)) {}

void Checks::textChanged(const OpenDocument& document) {
  const Clock::time_point due = Clock::now() + quietTime;
  for (auto& [uri, launch] : launches_) {
    if (uri != document.uri && !dependsOn(launch, document.identity)) continue;
    launch.work.reset();
    launch.due = due;
  }
}

void Checks::everythingChanged() {
  for (const auto& [uri, document] : workspace_.documents) {
    Launch& launch = launches_[uri];
    launch.work.reset();
    launch.due = Clock::now();
  }
}

void Checks::documentClosed(const std::string& uri) {
  const auto closed = launches_.find(uri);
  if (closed == launches_.end()) return;
  unpublished_.merge(closed->second.read);
  const auto published = published_.find(uri);
  if (published != published_.end()) unpublished_.insert(published->second.identity);
  launches_.erase(closed);
  everythingChanged();
}

void Checks::hurry() {
  for (auto& [uri, launch] : launches_)
    if (launch.due) launch.due = Clock::now();
}

void Checks::stop() {
  launches_.clear();
  unpublished_.clear();
}

std::vector<int> Checks::descriptors() const {
  std::vector<int> all;
  for (const auto& [uri, launch] : launches_)
    if (launch.work) all.push_back(launch.work->descriptor());
  return all;
}

std::optional<Checks::Clock::time_point> Checks::nextStep() const {
  std::optional<Clock::time_point> next;
  const std::size_t works = descriptors().size();
  for (const auto& [uri, launch] : launches_) {
    const auto due = works < maxWorks ? launch.due : std::nullopt;
    const auto time = launch.work ? std::optional(launch.giveUp) : due;
    if (time && (!next || *time < *next)) next = time;
  }
  return next;
}

void Checks::step() {
  const Clock::time_point now = Clock::now();
  for (auto& [uri, launch] : launches_) {
    if (!launch.work) continue;
    const OpenDocument& document = workspace_.documents.at(uri);
    if (launch.work->take()) {
      finish(document, launch, launch.work->failure());
    } else if (launch.giveUp <= now) {
      finish(document, launch, "it takes longer than half a minute");
    }
  }
  judgeTogether();
  std::size_t works = descriptors().size();
  for (auto& [uri, launch] : launches_) {
    if (works >= maxWorks || !launch.due || *launch.due > now) continue;
    begin(workspace_.documents.at(uri), launch);
    ++works;
  }
  publishSettled();
}

std::set<std::string> Checks::companionsOf(const std::string& uri, const Launch& launch) const {
  std::set<std::string> companions;
  if (launch.result.is_null() || wholeOf(uri, launch) != nullptr) return companions;
  for (const auto& [otherUri, other] : launches_) {
    if (&other == &launch || other.result.is_null() || wholeOf(otherUri, other) != nullptr)
      continue;
    const bool shares =
        std::any_of(launch.read.begin(), launch.read.end(),
                    [&read = other.read](const auto& file) { return read.contains(file); });
    if (shares) companions.insert(otherUri);
  }
  return companions;
}

void Checks::judgeTogether() {
  for (auto& [uri, launch] : launches_) {
    if (launch.isSettled() && companionsOf(uri, launch) != launch.companions)
      launch.due = Clock::now();
  }
}

bool Checks::dependsOn(const Launch& launch, const std::string& identity) const {
  const auto reads = [&](const Launch& one) {
    return one.result.is_null() || one.read.contains(identity);
  };
  return reads(launch) ||
         std::any_of(launch.companions.begin(), launch.companions.end(), [&](const auto& uri) {
           const auto companion = launches_.find(uri);
           return companion == launches_.end() || reads(companion->second);
         });
}

void Checks::begin(const OpenDocument& document, Launch& launch) {
  launch.due.reset();
  launch.giveUp = Clock::now() + patience;
  launch.companions = companionsOf(document.uri, launch);
  std::vector<const OpenDocument*> others;
  for (const std::string& uri : launch.companions) others.push_back(&workspace_.documents.at(uri));
  try {
    launch.work = std::make_unique<ForkedWork>(
        [&] { return textOf(::diagnosticsOf(workspace_, document, others)); });
  } catch (const std::system_error& error) {
    finish(document, launch, error.what());
  }
}

void Checks::finish(const OpenDocument& document, Launch& launch, const std::string& failure) {
  unpublished_.insert(launch.read.begin(), launch.read.end());
  if (failure.empty()) {
    launch.result = Json::parse(launch.work->result());
  } else {
    launch.result = {{"files",
                      {{{"identity", document.identity},
                        {"uri", document.uri},
                        {"diagnostics", {diagnosticOfFailure(document, failure)}}}}},
                     {"read", launch.read},
                     {"runs", true}};
  }
  launch.work.reset();
  launch.read = launch.result.at("read").get<std::set<std::string>>();
  launch.read.insert(document.identity);
  for (const Json& file : launch.result.at("files"))
    launch.read.insert(file.at("identity").get<std::string>());
  unpublished_.insert(launch.read.begin(), launch.read.end());
}

const OpenDocument* Checks::wholeOf(const std::string& uri, const Launch& launch) const {
  if (launch.result.is_null() || isTrue(launch.result.at("runs"))) return nullptr;
  const std::string& identity = workspace_.documents.at(uri).identity;
  for (const auto& [otherUri, other] : launches_) {
    const OpenDocument& document = workspace_.documents.at(otherUri);
    const bool includes = &other != &launch && other.read.contains(identity);
    if (includes && !launch.read.contains(document.identity)) return &document;
  }
  return nullptr;
}

const OpenDocument& Checks::launchOf(const OpenDocument& document) const {
  const auto launch = launches_.find(document.uri);
  if (launch == launches_.end()) return document;
  const OpenDocument* whole = wholeOf(document.uri, launch->second);
  return whole == nullptr ? document : *whole;
}

bool Checks::isSettled(const std::string& identity) const {
  return std::all_of(launches_.begin(), launches_.end(), [&](const auto& one) {
    const Launch& launch = one.second;
    return launch.isSettled() || (!launch.result.is_null() && !launch.read.contains(identity));
  });
}

bool Checks::isFresh(const OpenDocument& document) const {
  return isSettled(document.identity);
}

Json Checks::diagnosticsOf(const OpenDocument& document) const {
  return fileOf(document.identity).at("diagnostics");
}

Json Checks::fileOf(const std::string& identity) const {
  Json all = {{"uri", nullptr}, {"diagnostics", Json::array()}};
  std::set<Json> seen;
  for (const auto& [main, launch] : launches_) {
    if (launch.result.is_null() || wholeOf(main, launch) != nullptr) continue;
    for (const Json& file : launch.result.at("files")) {
      if (file.at("identity") != identity) continue;
      all["uri"] = file.at("uri");
      for (const Json& diagnostic : file.at("diagnostics"))
        if (seen.insert(diagnostic).second) all["diagnostics"].push_back(diagnostic);
    }
  }
  return all;
}

void Checks::publishSettled() {
  for (auto next = unpublished_.begin(); next != unpublished_.end();) {
    if (!isSettled(*next)) {
      ++next;
      continue;
    }
    publish(*next);
    next = unpublished_.erase(next);
  }
}

void Checks::publish(const std::string& identity) {
  const Json file = fileOf(identity);
  std::map<std::string, Json> wanted;  // params by URI
  for (const auto& [uri, document] : workspace_.documents) {
    if (document.identity == identity) wanted[uri] = {{"uri", uri}, {"version", document.version}};
  }
  if (wanted.empty() && !file.at("diagnostics").empty())
    wanted[file.at("uri")] = {{"uri", file.at("uri")}};
  for (auto& [uri, params] : wanted) {
    params["diagnostics"] = file.at("diagnostics");
    const auto known = published_.find(uri);
    if (known == published_.end() || known->second.params != params) publish_(params);
  }
  std::erase_if(published_, [&](const auto& one) {
    const auto& [uri, former] = one;
    if (former.identity != identity) return false;
    const bool isLeft = !wanted.contains(uri) && !former.params.at("diagnostics").empty();
    if (isLeft) publish_({{"uri", uri}, {"diagnostics", Json::array()}});
    return true;
  });
  for (auto& [uri, params] : wanted) published_[uri] = {identity, std::move(params)};
}
