#ifndef VELOX_KVF_LSP_CHECKS_H
#define VELOX_KVF_LSP_CHECKS_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "kvf/lsp/Protocol.h"
#include "kvf/lsp/Workspace.h"
#include "kvf/process/ForkedWork.h"

/// Keeps the diagnostics of all open documents, and of the files that they include, in step with
/// their texts. Each document is looked at as `kvf check` does; those that share a file are judged
/// together, as if it were given them all. One that another document includes and that has nothing
/// to run is only looked at as a part of that.
///
/// Diagnostics of a file are published when nothing that reads it has changed meanwhile; a change
/// gives up the checks under way that it makes stale.
class Checks {
 public:
  using Clock = std::chrono::steady_clock;
  using Publish = std::function<void(const Json& params)>;

  /// REQUIRES: the workspace outlives this.
  Checks(const Workspace& workspace, Publish publish);

  /// A document has a new text: what reads it is checked once nothing has changed for a while.
  void textChanged(const OpenDocument& document);
  /// Anything may have changed: documents were opened, saved or closed, or other files written.
  void everythingChanged();
  void documentClosed(const std::string& uri);
  /// Begins waiting checks at once.
  void hurry();

  /// Cancels everything.
  void stop();

  /// True when the diagnostics of the document fit its text.
  [[nodiscard]] bool isFresh(const OpenDocument& document) const;
  /// The latest ones, with the data of their fixes.
  [[nodiscard]] Json diagnosticsOf(const OpenDocument& document) const;

  /// The document whose launch a document belongs to: itself, or one that includes it.
  [[nodiscard]] const OpenDocument& launchOf(const OpenDocument& document) const;

  /// Descriptors that can be read when step() has something to do.
  [[nodiscard]] std::vector<int> descriptors() const;
  /// When step() has something to do without them.
  [[nodiscard]] std::optional<Clock::time_point> nextStep() const;
  /// Begins what is due, takes what is done, and publishes.
  void step();

 private:
  /// What is known of one document's launches.
  struct Launch {
    std::optional<Clock::time_point> due;
    std::unique_ptr<ForkedWork> work;
    Clock::time_point giveUp;
    Json result;                       ///< the latest; null before the first
    std::set<std::string> read;        ///< identities of the files that it reads
    std::set<std::string> companions;  ///< URIs of the documents that it was judged together with

    [[nodiscard]] bool isSettled() const { return !due && !work && !result.is_null(); }
  };

  /// What the client was last told of a file.
  struct Published {
    std::string identity;
    Json params;
  };

  /// The documents whose launches share files with this one.
  [[nodiscard]] std::set<std::string> companionsOf(const std::string& uri,
                                                   const Launch& launch) const;
  /// True when the findings may be others once the file has changed.
  [[nodiscard]] bool dependsOn(const Launch& launch, const std::string& identity) const;
  /// Looks again at launches that are known to share files only now.
  void judgeTogether();
  void begin(const OpenDocument& document, Launch& launch);
  void finish(const OpenDocument& document, Launch& launch, const std::string& failure);
  /// The document that includes this one, which has nothing to run itself; null: there is none.
  [[nodiscard]] const OpenDocument* wholeOf(const std::string& uri, const Launch& launch) const;
  [[nodiscard]] bool isSettled(const std::string& identity) const;
  /// The "uri" of a file, null when nothing is found in it, and its "diagnostics" from all
  /// launches.
  [[nodiscard]] Json fileOf(const std::string& identity) const;
  void publishSettled();
  void publish(const std::string& identity);

  const Workspace& workspace_;
  Publish publish_;
  std::map<std::string, Launch> launches_;      ///< by URI of the document
  std::map<std::string, Published> published_;  ///< by URI
  std::set<std::string> unpublished_;  ///< identities of files whose diagnostics may have changed
};

#endif
