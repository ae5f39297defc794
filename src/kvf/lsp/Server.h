#ifndef VELOX_KVF_LSP_SERVER_H
#define VELOX_KVF_LSP_SERVER_H

#include <chrono>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kvf/lsp/Checks.h"
#include "kvf/lsp/Features.h"
#include "kvf/lsp/Framing.h"
#include "kvf/lsp/Protocol.h"
#include "kvf/lsp/Workspace.h"
#include "kvf/process/ForkedWork.h"

/// A language server: the protocol 3.17 with one client. It only keeps texts and answers; what
/// looks at a launch happens in a copy of the process (ForkedWork), so that no text can end the
/// server, and no answer is older than the text that it is about. It starts and writes nothing
/// else.
class Server {
 public:
  explicit Server(InspectOpened inspect);

  /// Serves until the client leaves. True when it does so as the protocol says: shutdown, then
  /// exit.
  bool run();

 private:
  using Clock = std::chrono::steady_clock;
  struct Request {
    const char* method;
    void (Server::*handle)(const Json& id, const Json& params) = nullptr;
    Json (*answer)(const Question& question) = nullptr;  ///< instead, in a copy of the server
    bool hasPlace = true;                                ///< such a question is about a place
  };
  struct Notification {
    const char* method;
    void (Server::*handle)(const Json& params);
  };
  /// A request that has no answer yet.
  struct Pending {
    Json id;
    const Request* question;  ///< null: it waits for fresh diagnostics
    Clock::time_point giveUp;
    Json params;
    std::unique_ptr<ForkedWork> work = {};  ///< null: it has not begun
  };

  static const Request requests[];
  static const Notification notifications[];

  void wait();
  void readInput();
  void writeOutput();
  void take(const MessageReader::Message& message);
  void takeRequest(const Json& id, const std::string& method, const Json& params);
  void takeNotification(const std::string& method, const Json& params);
  bool step(Pending& pending);
  bool stepCodeAction(const Pending& pending);
  void stepPending();
  void beginPending();

  void send(const Json& message);
  void notify(const char* method, Json params);
  void answer(const Json& id, Json result);
  void fail(const Json& id, ErrorCode code, std::string_view text);
  [[nodiscard]] std::unique_ptr<ForkedWork> workFor(const Request& request, const Json& params);

  void initialize(const Json& id, const Json& params);
  void shutdown(const Json& id, const Json& params);
  void codeAction(const Json& id, const Json& params);
  void exit(const Json& params);
  void cancel(const Json& params);
  void open(const Json& params);
  void change(const Json& params);
  void close(const Json& params);
  void changeRoots(const Json& params);
  void initialized(const Json& params);
  void changeOutside(const Json& params);
  void watchParent(const Json& processId);
  void addRoot(const Json& uri);
  [[nodiscard]] const OpenDocument& documentOf(const Json& params) const;

  Workspace workspace_;
  Checks checks_;
  MessageReader reader_;
  std::string outgoing_;
  std::size_t written_ = 0;  ///< how much of it
  std::list<Pending> pending_;
  Json client_;  ///< its capabilities
  Descriptor parent_;
  enum class State { fresh, serving, shutDown, ended } state_ = State::fresh;
  bool leftInOrder_ = false;
  int nextId_ = 1;
};

#endif
