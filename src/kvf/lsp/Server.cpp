#include "kvf/lsp/Server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "foundation/wrapper_vid.h"
#include "kvf/lsp/Capabilities.h"
#include "kvf/lsp/CodeActions.h"
#include "kvf/lsp/MessageText.h"
#include "kvf/lsp/Uri.h"
#include "kvf/text/Text.h"

namespace {

namespace fs = std::filesystem;

/// For an answer to a request.
constexpr std::chrono::seconds patience(30);
/// For a client that reads no more, at the end.
constexpr int lastPatience = 2000;
/// Copies of the server that work at once.
constexpr std::ptrdiff_t mostCopies = 4;

enum class MessageType : int { error = 1, warning, info, log };

}  // namespace

const Server::Request Server::requests[] = {
    {.method = "initialize", .handle = &Server::initialize},
    {.method = "shutdown", .handle = &Server::shutdown},
    {.method = "textDocument/codeAction", .handle = &Server::codeAction},
    {.method = "textDocument/hover", .answer = hoverAt},
    {.method = "textDocument/completion", .answer = completionAt},
    {.method = "textDocument/definition", .answer = definitionAt},
    {.method = "textDocument/documentSymbol", .answer = symbolsOf, .hasPlace = false},
};

const Server::Notification Server::notifications[] = {
    {"initialized", &Server::initialized},
    {"exit", &Server::exit},
    {"$/cancelRequest", &Server::cancel},
    {"textDocument/didOpen", &Server::open},
    {"textDocument/didChange", &Server::change},
    {"textDocument/didSave", &Server::changeOutside},
    {"textDocument/didClose", &Server::close},
    {"workspace/didChangeWatchedFiles", &Server::changeOutside},
    {"workspace/didChangeWorkspaceFolders", &Server::changeRoots},
};

Server::Server(InspectOpened inspect)
    : workspace_{.inspect = std::move(inspect), .units = {}, .roots = {}, .documents = {}},
      checks_(workspace_,
              [this](const Json& params) { notify("textDocument/publishDiagnostics", params); }) {}

// --- the loop ---------------------------------------------------------------------------------

bool Server::run() {
  ::signal(SIGPIPE, SIG_IGN);
  while (state_ != State::ended) {
    wait();
    // First what the client has said meanwhile: it may make answers stale.
    while (state_ != State::ended) {
      const auto message = reader_.next();
      if (!message) break;
      take(*message);
    }
    checks_.step();
    stepPending();
  }
  for (pollfd output = {STDOUT_FILENO, POLLOUT, 0};
       !outgoing_.empty() && ::poll(&output, 1, lastPatience) > 0;)
    writeOutput();
  return leftInOrder_;
}

void Server::wait() {
  std::vector<pollfd> polls = {{STDIN_FILENO, POLLIN, 0},
                               {outgoing_.empty() ? -1 : STDOUT_FILENO, POLLOUT, 0},
                               {parent_.number(), POLLIN, 0}};
  for (const int descriptor : checks_.descriptors()) polls.push_back({descriptor, POLLIN, 0});
  auto next = checks_.nextStep();
  for (const Pending& pending : pending_) {
    if (pending.work) polls.push_back({pending.work->descriptor(), POLLIN, 0});
    if (!next || pending.giveUp < *next) next = pending.giveUp;
  }
  int milliseconds = -1;
  if (next) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*next - Clock::now()).count();
    milliseconds = static_cast<int>(std::clamp<long>(left, 0, INT_MAX));
  }
  if (::poll(polls.data(), polls.size(), milliseconds) <= 0) return;
  if (polls[0].revents != 0) readInput();
  if (polls[1].revents != 0) writeOutput();
  if (polls[2].revents != 0) state_ = State::ended;
}

void Server::readInput() {
  std::array<char, 65536> buffer;
  const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
  if (count > 0) {
    reader_.add({buffer.data(), static_cast<std::size_t>(count)});
  } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
    state_ = State::ended;
  }
}

/// As much as a pipe surely takes at once: what the client sends is read meanwhile.
void Server::writeOutput() {
  const std::string_view rest = std::string_view(outgoing_).substr(written_);
  const ssize_t count =
      ::write(STDOUT_FILENO, rest.data(), std::min<std::size_t>(rest.size(), PIPE_BUF));
  if (count > 0) {
    written_ += static_cast<std::size_t>(count);
    if (written_ < outgoing_.size()) return;
    outgoing_ = {};
    written_ = 0;
  } else if (errno != EINTR && errno != EAGAIN) {
    outgoing_.clear();
    state_ = State::ended;
  }
}

// --- messages ---------------------------------------------------------------------------------

void Server::send(const Json& message) {
  outgoing_ += framed(textOf(message));
}

void Server::notify(const char* method, Json params) {
  send({{"jsonrpc", "2.0"}, {"method", method}, {"params", std::move(params)}});
}

void Server::answer(const Json& id, Json result) {
  send({{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}});
}

void Server::fail(const Json& id, ErrorCode code, std::string_view text) {
  send({{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", text}}}});
}

void Server::take(const MessageReader::Message& message) {
  if (!message.error.empty()) return fail(nullptr, ErrorCode::parseError, message.error);
  Json body;
  try {
    body = parsedMessage(message.body);
  } catch (const ResponseError& error) {
    return fail(nullptr, error.code, error.what());
  }
  const Json& method = memberOf(body, {"method"});
  const Json& id = memberOf(body, {"id"});
  const bool hasId = body.is_object() && body.contains("id");
  const bool isIdSound = !hasId || id.is_string() || id.is_number() || id.is_null();
  if (!method.is_string() || !isIdSound) {
    // What has no method answers a request of the server's.
    const bool isAnswer = hasId && (body.contains("result") || body.contains("error"));
    if (!isAnswer) fail(nullptr, ErrorCode::invalidRequest, "this is not a request");
    return;
  }
  const Json& params = memberOf(body, {"params"});
  if (hasId) {
    takeRequest(id, method, params);
  } else {
    takeNotification(method, params);
  }
}

void Server::takeRequest(const Json& id, const std::string& method, const Json& params) {
  const auto* request = std::find_if(std::begin(requests), std::end(requests),
                                     [&](const Request& one) { return method == one.method; });
  try {
    if (state_ == State::shutDown)
      throw ResponseError(ErrorCode::invalidRequest, "the server is shut down");
    if (state_ == State::fresh && method != "initialize")
      throw ResponseError(ErrorCode::serverNotInitialized, "the server is not initialized");
    if (request == std::end(requests))
      throw ResponseError(ErrorCode::methodNotFound, concat({"there is no ", shown(method)}));
    if (request->handle != nullptr) {
      (this->*request->handle)(id, params);
    } else {
      static_cast<void>(documentOf(params));
      if (request->hasPlace) static_cast<void>(placeIn(params.at("position")));
      pending_.push_back(
          {.id = id, .question = request, .giveUp = Clock::now() + patience, .params = params});
    }
  } catch (const ResponseError& error) {
    fail(id, error.code, error.what());
  } catch (const Json::exception& error) {
    fail(id, ErrorCode::invalidParams, error.what());
  } catch (const std::exception& error) {
    fail(id, ErrorCode::internalError, error.what());
  }
}

void Server::takeNotification(const std::string& method, const Json& params) {
  const auto* notification =
      std::find_if(std::begin(notifications), std::end(notifications),
                   [&](const Notification& one) { return method == one.method; });
  if (notification == std::end(notifications)) return;
  if (state_ != State::serving && method != "exit") return;
  try {
    (this->*notification->handle)(params);
  } catch (const std::exception& error) {
    notify("window/logMessage", {{"type", MessageType::error},
                                 {"message", concat({"kvf: ", method, ": ", error.what()})}});
  }
}

std::unique_ptr<ForkedWork> Server::workFor(const Request& request, const Json& params) {
  const OpenDocument& document = documentOf(params);
  const Question question = {
      .workspace = workspace_,
      .document = document,
      .launch = checks_.launchOf(document),
      .place = request.hasPlace ? placeIn(params.at("position")) : TextPlace{},
      .client = client_};
  return std::make_unique<ForkedWork>([&] { return textOf(request.answer(question)); });
}

/// True once the request has its answer.
bool Server::step(Pending& pending) {
  if (pending.work && pending.work->take()) {
    if (pending.work->failure().empty()) {
      answer(pending.id, Json::parse(pending.work->result()));
    } else {
      fail(pending.id, ErrorCode::requestFailed, pending.work->failure());
    }
    return true;
  }
  if (pending.giveUp <= Clock::now()) {
    fail(pending.id, ErrorCode::requestFailed, "it takes too long");
    return true;
  }
  return pending.question == nullptr && stepCodeAction(pending);
}

bool Server::stepCodeAction(const Pending& pending) {
  const auto document = workspace_.documents.find(pending.params.at("textDocument").at("uri"));
  if (document == workspace_.documents.end()) {
    answer(pending.id, nullptr);
    return true;
  }
  if (!checks_.isFresh(document->second)) return false;
  const bool versioned =
      isTrue(memberOf(client_, {"workspace", "workspaceEdit", "documentChanges"}));
  answer(pending.id, codeActionsFor(pending.params, checks_.diagnosticsOf(document->second),
                                    workspace_, versioned));
  return true;
}

void Server::stepPending() {
  pending_.remove_if([&](Pending& pending) { return step(pending); });
  beginPending();
}

/// The work of those questions that have waited longest, as much as there may be at once.
void Server::beginPending() {
  auto busy = std::count_if(pending_.begin(), pending_.end(),
                            [](const Pending& pending) { return pending.work != nullptr; });
  for (auto pending = pending_.begin(); pending != pending_.end() && busy < mostCopies;) {
    const auto next = std::next(pending);
    if (pending->question != nullptr && !pending->work) {
      try {
        pending->work = workFor(*pending->question, pending->params);
        ++busy;
      } catch (const ResponseError& error) {
        fail(pending->id, error.code, error.what());
        pending_.erase(pending);
      } catch (const std::exception& error) {
        fail(pending->id, ErrorCode::internalError, error.what());
        pending_.erase(pending);
      }
    }
    pending = next;
  }
}

const OpenDocument& Server::documentOf(const Json& params) const {
  const std::string uri = params.at("textDocument").at("uri");
  const auto document = workspace_.documents.find(uri);
  if (document == workspace_.documents.end())
    throw ResponseError(ErrorCode::invalidParams, concat({shown(uri), " is not open"}));
  return document->second;
}

// --- the client and its documents -------------------------------------------------------------

void Server::initialize(const Json& id, const Json& params) {
  if (state_ != State::fresh)
    throw ResponseError(ErrorCode::invalidRequest, "the server is initialized");
  client_ = memberOf(params, {"capabilities"});
  const Encoding& encoding = encodingFor(client_);
  workspace_.units = {encoding.character, !endsLinesByLineFeeds(params)};
  const Json& folders = memberOf(params, {"workspaceFolders"});
  if (folders.is_array()) {
    for (const Json& folder : folders) addRoot(memberOf(folder, {"uri"}));
  } else {
    addRoot(memberOf(params, {"rootUri"}));
  }
  watchParent(memberOf(params, {"processId"}));
  answer(id, {{"capabilities", serverCapabilities(encoding)},
              {"serverInfo", {{"name", "kvf"}, {"version", wrapper_version}}}});
  if (state_ == State::fresh) state_ = State::serving;
}

void Server::addRoot(const Json& uri) {
  if (!uri.is_string()) return;
  if (const auto path = pathOfUri(uri.get_ref<const std::string&>()))
    workspace_.roots.push_back(fs::path(*path).lexically_normal());
}

/// A client that has gone sends nothing more; its end of the pipe may have been inherited.
void Server::watchParent(const Json& processId) {
  if (!processId.is_number_integer()) return;
  parent_ = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, processId.get<pid_t>(), 0)));
  if (parent_.number() < 0 && errno == ESRCH) state_ = State::ended;
}

void Server::initialized(const Json& /*params*/) {
  const Json& registers =
      memberOf(client_, {"workspace", "didChangeWatchedFiles", "dynamicRegistration"});
  if (!isTrue(registers)) return;
  const Json watchers = {{{"globPattern", "**/*.kvf"}}, {{"globPattern", "**/*.jar"}}};
  send({{"jsonrpc", "2.0"},
        {"id", nextId_++},
        {"method", "client/registerCapability"},
        {"params",
         {{"registrations",
           {{{"id", "files"},
             {"method", "workspace/didChangeWatchedFiles"},
             {"registerOptions", {{"watchers", watchers}}}}}}}}});
}

void Server::shutdown(const Json& id, const Json& /*params*/) {
  for (const Pending& pending : pending_)
    fail(pending.id, ErrorCode::requestCancelled, "the server is shut down");
  pending_.clear();
  checks_.stop();
  state_ = State::shutDown;
  answer(id, nullptr);
}

void Server::exit(const Json& /*params*/) {
  leftInOrder_ = state_ == State::shutDown;
  state_ = State::ended;
}

void Server::cancel(const Json& params) {
  const Json& id = params.at("id");
  pending_.remove_if([&](const Pending& pending) {
    if (pending.id != id) return false;
    fail(id, ErrorCode::requestCancelled, "cancelled");
    return true;
  });
}

void Server::open(const Json& params) {
  const Json& item = params.at("textDocument");
  const std::string uri = item.at("uri");
  const auto path = pathOfUri(uri);
  std::error_code error;
  const fs::path folder =
      workspace_.roots.empty() ? fs::current_path(error) : fs::path(workspace_.roots.front());
  OpenDocument document = {
      .uri = uri,
      .path = path ? fs::path(*path).lexically_normal() : folder / nameInUri(uri),
      .identity = {},
      .version = item.value("version", std::int64_t{0}),
      .document = TextDocument(item.at("text").get<std::string>(), workspace_.units)};
  document.identity = identityOf(document.path);
  workspace_.documents.insert_or_assign(uri, std::move(document));
  checks_.everythingChanged();
}

void Server::change(const Json& params) {
  OpenDocument& document = workspace_.documents.at(documentOf(params).uri);
  for (const Json& change : params.at("contentChanges")) {
    const Json& range = memberOf(change, {"range"});
    document.document.replace(range.is_null() ? std::nullopt : std::optional(rangeIn(range)),
                              change.at("text").get_ref<const std::string&>());
  }
  const Json& version = memberOf(params, {"textDocument", "version"});
  if (version.is_number_integer()) document.version = version.get<std::int64_t>();
  checks_.textChanged(document);
}

void Server::close(const Json& params) {
  const std::string uri = documentOf(params).uri;
  workspace_.documents.erase(uri);
  checks_.documentClosed(uri);
}

void Server::changeOutside(const Json& /*params*/) {
  checks_.everythingChanged();
}

void Server::changeRoots(const Json& params) {
  for (const Json& folder : params.at("event").at("removed")) {
    if (const auto path = pathOfUri(folder.at("uri").get_ref<const std::string&>()))
      std::erase(workspace_.roots, fs::path(*path).lexically_normal().string());
  }
  for (const Json& folder : params.at("event").at("added")) addRoot(folder.at("uri"));
  checks_.everythingChanged();
}

void Server::codeAction(const Json& id, const Json& params) {
  static_cast<void>(documentOf(params));
  static_cast<void>(rangeIn(params.at("range")));
  pending_.push_back(
      {.id = id, .question = nullptr, .giveUp = Clock::now() + patience, .params = params});
  checks_.hurry();
}
