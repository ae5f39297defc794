#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "e2e/WrapperTest.h"
#include "kvf/commands/CheckTargets.h"
#include "kvf/lsp/CodeActions.h"
#include "kvf/lsp/Cursor.h"
#include "kvf/lsp/Diagnostics.h"
#include "kvf/lsp/Features.h"
#include "kvf/lsp/Framing.h"
#include "kvf/lsp/TextDocument.h"
#include "kvf/lsp/Uri.h"
#include "kvf/process/ForkedWork.h"

namespace {

using Where = Cursor::Where;

constexpr TextUnits utf16;

TEST(MessageReader, ReadsMessagesAndRecoversFromErrors) {
  const struct {
    const char* what;
    std::string stream;
    Texts messages;  ///< "!" for an error
  } rows[] = {
      {"two", framed("{}") + framed("[1]"), {"{}", "[1]"}},
      {"other fields",
       "X: y\r\ncontent-LENGTH:  2 \r\nContent-Type: a; charset=utf-8\r\n\r\n{}",
       {"{}"}},
      {"bare line feeds", "Content-Length: 2\n\n{}", {"{}"}},
      {"empty lines between", framed("{}") + "\r\n\r\n" + framed("1"), {"{}", "1"}},
      {"no body", framed(""), {""}},
      {"part of a body", "Content-Length: 3\r\n\r\n{}", {}},
      {"part of a header", "Content-Length: 3\r\n", {}},
      {"no length", "Content-Type: x\r\n\r\n{}" + framed("1"), {"!", "1"}},
      {"negative", "Content-Length: -1\r\n\r\n{}" + framed("1"), {"!", "1"}},
      {"huge", "Content-Length: 99999999999999999999\r\n\r\n{}" + framed("1"), {"!", "1"}},
      {"too long", "Content-Length: 4294967296\r\n\r\n{}" + framed("1"), {"!", "1"}},
      {"a word", "Content-Length: 2x\r\n\r\n{}" + framed("1"), {"!", "1"}},
      {"no end", std::string(10000, 'x') + "\n" + framed("1"), {"!", "1"}},
      {"no field", "Content-Type: x\r\n\r\nContent-Length 2\r\n\r\n{}" + framed("1"), {"!", "1"}},
  };
  for (const auto& row : rows) {
    for (const std::size_t pieces : {row.stream.size(), std::size_t{1}}) {
      MessageReader reader;
      Texts messages;
      for (std::size_t at = 0; at < row.stream.size(); at += pieces) {
        reader.add(std::string_view(row.stream).substr(at, pieces));
        while (const auto message = reader.next())
          messages.push_back(message->error.empty() ? message->body : "!");
      }
      EXPECT_EQ(messages, row.messages) << row.what << ", in pieces of " << pieces;
    }
  }
}

TEST(TextDocument, CountsWhatTheClientCounts) {
  // An umlaut has two bytes and one unit, the smile four and two.
  const std::string text = "a\xC3\xA4\xF0\x9F\x98\x80z\r\nb\rc";
  const struct {
    const char* what;
    TextUnits units;
    TextPlace place;
    std::size_t offset;
    TextPlace back;
  } rows[] = {
      {"start", utf16, {0, 0}, 0, {0, 0}},
      {"UTF-16", utf16, {0, 4}, 7, {0, 4}},
      {"within a pair", utf16, {0, 3}, 3, {0, 2}},
      {"bytes", {TextUnits::Character::byte}, {0, 7}, 7, {0, 7}},
      {"code points", {TextUnits::Character::codePoint}, {0, 3}, 7, {0, 3}},
      {"after a line", utf16, {0, 99}, 8, {0, 5}},
      {"after both line ends", utf16, {1, 0}, 10, {1, 0}},
      {"after a carriage return", utf16, {2, 0}, 12, {2, 0}},
      {"which is none to some", {TextUnits::Character::utf16, false}, {1, 2}, 12, {1, 2}},
      {"who count it at the end", {TextUnits::Character::utf16, false}, {0, 6}, 9, {0, 6}},
      {"after the text", utf16, {9, 9}, 13, {2, 1}},
  };
  for (const auto& row : rows) {
    const TextDocument document(text, row.units);
    EXPECT_EQ(document.offsetOf(row.place), row.offset) << row.what;
    EXPECT_EQ(document.placeOf(row.offset), row.back) << row.what;
  }
}

TEST(TextDocument, CountsEachByteThatIsNotUtf8) {
  const TextDocument document("\xC3z\xF0\x9F", utf16);
  EXPECT_EQ(document.offsetOf({0, 1}), 1U);
  EXPECT_EQ(document.placeOf(2), (TextPlace{0, 2}));
}

TEST(TextDocument, IsWhatItsEditsMakeOfIt) {
  std::mt19937 random(17);
  const std::string pieces[] = {"a",    "\n", "\r\n", "\r",   "\xC3\xA4", "\xF0\x9F\x98\x80",
                                "=%x%", "\\", "\t",   "\xFF", " "};
  const auto oddText = [&](std::size_t most) {
    std::string text;
    for (std::size_t count = random() % most; count > 0; --count)
      text += pieces[random() % std::size(pieces)];
    return text;
  };
  using Character = TextUnits::Character;
  const TextUnits all[] = {
      {Character::byte}, {Character::utf16}, {Character::codePoint}, {Character::utf16, false}};
  for (std::size_t round = 0; round < 400; ++round) {
    const TextUnits units = all[round % std::size(all)];
    std::string text = oddText(12);
    TextDocument document(text, units);
    for (int edit = 0; edit < 5; ++edit) {
      // Places that the client can name.
      std::size_t start = document.offsetOf({random() % 6, random() % 6});
      std::size_t end = document.offsetOf({random() % 6, random() % 6});
      if (start > end) std::swap(start, end);
      const TextRange range = document.rangeOf(start, end);
      ASSERT_EQ(document.offsetOf(range.start), start) << testing::PrintToString(text);
      ASSERT_EQ(document.offsetOf(range.end), end) << testing::PrintToString(text);
      const std::string with = oddText(4);
      document.replace(range, with);
      text.replace(start, end - start, with);
      ASSERT_EQ(document.text(), text);
      const TextDocument anew(text, units);
      for (std::size_t at = 0; at <= text.size(); ++at)
        ASSERT_EQ(document.placeOf(at), anew.placeOf(at)) << testing::PrintToString(text) << at;
    }
  }
}

TEST(TextDocument, IsReplacedInPartOrWhole) {
  TextDocument document("one\ntwo\n", utf16);
  document.replace(TextRange{{0, 3}, {1, 1}}, "\xC3\xA4\n");
  EXPECT_EQ(document.text(), "one\xC3\xA4\nwo\n");
  document.replace(TextRange{{9, 0}, {0, 0}}, "end");
  EXPECT_EQ(document.text(), "one\xC3\xA4\nwo\nend");
  document.replace(std::nullopt, "x");
  EXPECT_EQ(document.text(), "x");
}

TEST(ForkedWork, IsCancelledByItsOwner) {
  const auto start = std::chrono::steady_clock::now();
  {
    const ForkedWork work([] {
      ::sleep(60);
      return std::string();
    });
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
}

TEST(Uri, IsAPathOrNone) {
  const struct {
    const char* uri;
    const char* path;  ///< null: none
    const char* back;
  } rows[] = {
      {"file:///opt/a%20b%C3%a4%25.kvf", "/opt/a b\xC3\xA4%.kvf", "file:///opt/a%20b%C3%A4%25.kvf"},
      {"file://localhost/x", "/x", "file:///x"},
      {"file:/x?query#part", "/x", "file:///x"},
      {"file:///100%", "/100%", "file:///100%25"},
      {"file://server/x", nullptr, nullptr},
      {"file:///a%00b", nullptr, nullptr},
      {"untitled:Untitled-1", nullptr, nullptr},
      {"", nullptr, nullptr},
  };
  for (const auto& row : rows) {
    const auto path = pathOfUri(row.uri);
    ASSERT_EQ(path.has_value(), row.path != nullptr) << row.uri;
    if (!path) continue;
    EXPECT_EQ(*path, row.path) << row.uri;
    EXPECT_EQ(uriOfPath(*path), row.back) << row.uri;
  }
}

TEST(Cursor, IsWhereTheLauncherSeesIt) {
  const struct {
    const char* before;
    Where where;
    const char* key;
    const char* written;
    std::size_t references;
    const char* reference;  ///< null: in none
  } rows[] = {
      {"", Where::key, "", "", 0, nullptr},
      {"x=1\nvelox.cl", Where::key, "velox.cl", "", 0, nullptr},
      {"  a\\=b", Where::key, "a=b", "", 0, nullptr},
      {"key=va", Where::value, "key", "va", 0, nullptr},
      {"key=a\\\n  b", Where::value, "key", "a  b", 0, nullptr},
      {"key =", Where::value, "key", "", 0, nullptr},
      {"key=%a%/%b", Where::value, "key", "%a%/%b", 1, "b"},
      {"key=%a%", Where::value, "key", "%a%", 1, nullptr},
      {"key=\\\\%a%b", Where::value, "key", "\\%a%b", 0, "b"},
      {"# key=%a", Where::nothing, "", "", 0, nullptr},
  };
  for (const auto& row : rows) {
    const std::string text = row.before;
    const Cursor cursor = cursorAt(text + "REST\nmore=1\n", text.size());
    EXPECT_EQ(cursor.where, row.where) << row.before;
    EXPECT_EQ(cursor.key, row.key) << row.before;
    EXPECT_EQ(cursor.written, row.written) << row.before;
    EXPECT_EQ(cursor.references, row.references) << row.before;
    EXPECT_EQ(cursor.reference.has_value(), row.reference != nullptr) << row.before;
    EXPECT_EQ(cursor.reference.value_or(""), row.reference == nullptr ? "" : row.reference)
        << row.before;
  }
}

TEST(ForkedWork, EndsByItselfOrWithItsOwner) {
  const auto ended = [](const std::function<std::string()>& work) {
    ForkedWork copy(work);
    pollfd poll = {copy.descriptor(), POLLIN, 0};
    while (!copy.take()) ::poll(&poll, 1, -1);
    return copy.result() + copy.failure();
  };
  EXPECT_EQ(ended([] { return std::string("done"); }), "done");
  EXPECT_EQ(ended([]() -> std::string { throw std::runtime_error("why"); }), "why");
  EXPECT_EQ(ended([]() -> std::string {
              ::raise(SIGKILL);
              return {};
            }),
            "it was ended by a signal: Killed");
  {
    ForkedWork hanging([]() -> std::string {
      for (;;) ::pause();
    });
    EXPECT_FALSE(hanging.take());
  }
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "the copy is still there";
}

/// A client of the real program.
class LspTest : public WrapperTest {
 protected:
  /// What the server says to these bodies, one after the other, and how it ends.
  [[nodiscard]] std::pair<int, std::vector<Json>> answers(const Texts& bodies) {
    std::string input;
    for (const std::string& body : bodies) input += framed(body);
    sandbox_.write("input", input);
    const Outcome outcome = sandbox_.run({"sh", "-c", VELOX_KVF " lsp <input"});
    MessageReader reader;
    reader.add(outcome.out);
    std::vector<Json> messages;
    while (const auto message = reader.next()) messages.push_back(Json::parse(message->body));
    return {outcome.status, messages};
  }
};

/// A server that is talked to while it runs.
class RunningServer {
 public:
  explicit RunningServer(const Sandbox& sandbox)
      : server_(sandbox.start({VELOX_KVF, "lsp"},
                              {.inChild = [this] { ::dup2(ends_[0], STDIN_FILENO); }})) {
    ::close(ends_[0]);
  }
  RunningServer(const RunningServer&) = delete;
  RunningServer& operator=(const RunningServer&) = delete;
  ~RunningServer() { ::close(ends_[1]); }

  void say(const Json& message) { sayAtOnce({message}); }
  void sayAtOnce(const std::vector<Json>& messages) {
    std::string text;
    for (const Json& message : messages) text += framed(message.dump());
    EXPECT_EQ(::write(ends_[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  void notify(const char* method, const Json& params) {
    say({{"method", method}, {"params", params}});
  }
  bool prints(const std::string& text) { return server_.prints(text); }
  Outcome wait() { return server_.wait(); }
  /// How many processes it has started that have not ended.
  [[nodiscard]] std::size_t children() const {
    const std::string id = std::to_string(server_.id());
    std::ifstream list("/proc/" + id + "/task/" + id + "/children");
    return static_cast<std::size_t>(
        std::distance(std::istream_iterator<int>(list), std::istream_iterator<int>()));
  }

 private:
  static std::array<int, 2> pipe() {
    std::array<int, 2> ends = {-1, -1};
    EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    return ends;
  }

  std::array<int, 2> ends_ = pipe();
  Child server_;
};

const std::string initialize = R"({"jsonrpc":"2.0","id":1,"method":"initialize","params":{}})";
const std::string shutdown = R"({"jsonrpc":"2.0","id":2,"method":"shutdown"})";
const std::string leave = R"({"jsonrpc":"2.0","method":"exit"})";

TEST_F(LspTest, BrokenMessagesGetErrorsAndLoseNothing) {
  const struct {
    std::string body;
    int code;  ///< 0: no answer
  } rows[] = {
      {"{", -32700},
      {"\"\xFF\"", -32700},
      {std::string(100000, '['), -32700},
      {std::string(1000, '[') + std::string(1000, ']'), -32700},
      {"[]", -32600},
      {R"([{"id":1,"method":"x"}])", -32600},
      {"1", -32600},
      {R"({"id":{},"method":"x"})", -32600},
      {R"({"id":1,"method":2})", -32600},
      {R"({"id":1,"result":2})", 0},
      {R"({"id":3,"method":"half a pair: \ud83d"})", -32601},
      {R"({"id":3,"method":"no/such"})", -32601},
      {R"({"id":3,"method":"$/no"})", -32601},
      {R"({"method":"no/such"})", 0},
      {R"({"id":3,"method":"initialize"})", -32600},
      {R"({"id":3,"method":"textDocument/hover"})", -32602},
      {R"({"id":3,"method":"textDocument/hover","params":{"textDocument":{"uri":"file:///x"}}})",
       -32602},
      {R"({"id":3,"method":"textDocument/codeAction","params":[]})", -32602},
      {R"({"method":"textDocument/didSave","params":7})", 0},
      {R"({"method":"$/cancelRequest","params":{"id":99}})", 0},
  };
  for (const auto& row : rows) {
    const auto [status, messages] = answers({initialize, row.body, shutdown, leave});
    EXPECT_EQ(status, 0) << row.body.substr(0, 80);
    ASSERT_EQ(messages.size(), row.code == 0 ? 2U : 3U) << row.body.substr(0, 80);
    const Json& code = row.code == 0 ? Json(0) : messages[1]["error"]["code"];
    EXPECT_EQ(code, row.code) << row.body.substr(0, 80);
    EXPECT_TRUE(messages.back()["result"].is_null());
  }
}

TEST_F(LspTest, TheServerLivesFromInitializeToExit) {
  const std::string hover = R"({"id":3,"method":"textDocument/hover","params":{}})";
  EXPECT_EQ(answers({hover}).second.at(0)["error"]["code"], -32002);
  EXPECT_EQ(answers({initialize, shutdown, hover, leave}).second.at(2)["error"]["code"], -32600);
  EXPECT_EQ(answers({initialize, shutdown, leave}).first, 0);
  EXPECT_EQ(answers({initialize, leave}).first, 1);
  EXPECT_EQ(answers({leave}).first, 1);
  EXPECT_EQ(answers({initialize, shutdown}).first, 1) << "the client went away";
  const std::string orphan = R"({"id":1,"method":"initialize","params":{"processId":2147483646}})";
  EXPECT_EQ(answers({orphan, shutdown, leave}).first, 1) << "no such parent";
}

TEST_F(LspTest, TheEncodingIsOneThatTheClientOffers) {
  const struct {
    const char* offered;
    const char* chosen;
  } rows[] = {{"[]", "utf-16"},
              {R"(["utf-16","utf-8"])", "utf-8"},
              {R"(["utf-32"])", "utf-32"},
              {"7", "utf-16"}};
  for (const auto& row : rows) {
    const std::string body =
        R"({"id":1,"method":"initialize","params":{"capabilities":{"general":{"positionEncodings":)" +
        std::string(row.offered) + "}}}}";
    EXPECT_EQ(answers({body}).second.at(0)["result"]["capabilities"]["positionEncoding"],
              row.chosen);
  }
}

/// Questions about a text in which "|" is the cursor.
class LspQuestionTest : public WrapperTest {
 protected:
  Json ask(Json (*answer)(const Question&), std::string text, const std::string& name = "app.kvf") {
    const std::size_t cursor = text.find('|');
    if (cursor != std::string::npos) text.erase(cursor, 1);
    const OpenDocument& document = open(name, text);
    const TextPlace place = document.document.placeOf(std::min(cursor, text.size()));
    return answer({workspace_, document, workspace_.documents.at(uri("app.kvf")), place, {}});
  }
  const OpenDocument& open(const std::string& name, const std::string& text) {
    const std::string path = sandbox_.path(name);
    return workspace_.documents
        .insert_or_assign(uri(name), OpenDocument{uri(name), path, identityOf(path), 1,
                                                  TextDocument(text, workspace_.units)})
        .first->second;
  }
  [[nodiscard]] std::string uri(const std::string& name) const {
    return uriOfPath(sandbox_.path(name));
  }
  Texts labels(const std::string& text) {
    const Json list = ask(completionAt, text);
    Texts labels;
    if (list.is_null()) return labels;
    for (const Json& item : list["items"]) labels.push_back(item["label"]);
    return labels;
  }

  Workspace workspace_ = {.inspect =
                              [](const std::string& file, const GivenTexts& given) {
                                return inspectTargets({"-"}, file, given).inspections;
                              },
                          .units = {},
                          .roots = {},
                          .documents = {}};
};

bool contains(const Texts& list, const std::string& text) {
  return std::find(list.begin(), list.end(), text) != list.end();
}

TEST_F(LspQuestionTest, CompletionOffersWhatFits) {
  sandbox_.write("lib/one.jar", "");
  sandbox_.write("lib/.hidden", "");
  EXPECT_TRUE(contains(labels("velox.cl|"), "velox.class.path.extended"));
  EXPECT_FALSE(contains(labels("|"), "kvf.file.dir")) << "the launcher sets it";
  EXPECT_EQ(labels("acme.home=/x\nx=%acme.|\nacme.late=1\n"), Texts{"acme.home"});
  EXPECT_EQ(labels("acme.home=/x\nx=%a%/%kvf.file.d|\n"), Texts{"kvf.file.dir"});
  EXPECT_EQ(labels("velox.class.path.extended=%kvf.file.dir%/lib/|\n"), Texts{"one.jar"});
  EXPECT_EQ(labels("velox.class.path.extended=x:%kvf.file.dir%/li|b/y\n"), Texts{"lib/"});
  EXPECT_EQ(labels("own.path=%kvf.file.dir%/l|\n"), Texts{"lib/"});
  EXPECT_EQ(labels(probe() + "java.start.class=pro|"), (Texts{"probe.Heir", "probe.Probe"}));
  EXPECT_EQ(labels(probe() + "java.start.class=Pro|"), Texts{"probe.Probe"});
  EXPECT_EQ(labels("# velox|"), Texts{});
  sandbox_.write("odd/=a%.jar", "");
  const Json item = ask(completionAt, "own.path=%kvf.file.dir%/odd/|")["items"][0];
  EXPECT_EQ(item["textEdit"]["newText"], "=a\\\\%.jar");
  EXPECT_EQ(labels("java.heap.size.max=5|"), Texts{});
  EXPECT_EQ(ask(completionAt, "velox.cl|=1")["items"][0]["textEdit"]["newText"],
            "velox.include.kvf");
}

TEST_F(LspQuestionTest, HoverShowsKeysValuesAndReferences) {
  sandbox_.write("base.kvf", "acme.home=/x\n");
  ::setenv("ACME_HOST", "here", 1);
  const std::string include = "velox.include.kvf=%kvf.file.dir%/base.kvf\n";
  const struct {
    std::string text;
    std::string shown;  ///< a part of it
  } rows[] = {
      {"java.heap.si|ze.max=1g\n", "Becomes: -Xmx"},
      {"java.heap.si|ze.max=1g\n", "\"1g\" (" + sandbox_.path("app.kvf") + ":1)"},
      {include + "x=|a%acme.home%\n", "\"a/x\""},
      {include + "x=%acm|e.home%\n",
       "\"%acme.home%\" is \"/x\", from " + sandbox_.path("base.kvf") + ":1"},
      {include + "x=|%acme.home%\n", "is \"/x\""},
      {"x=%gone%%ACME_|HOST%\n", "is \"here\", from environment"},
      {"x=%go|ne%\n", "is nowhere defined and disappears"},
      {"db.password=secret\nx=%db.pass|word%\n", "is \"***\""},
  };
  for (const auto& row : rows) {
    const Json hover = ask(hoverAt, row.text);
    ASSERT_TRUE(hover.is_object()) << row.text;
    const std::string shown = hover["contents"]["value"];
    EXPECT_NE(shown.find(row.shown), std::string::npos) << row.text << "\n" << shown;
  }
  EXPECT_TRUE(ask(hoverAt, "# com|ment\n").is_null());
}

TEST_F(LspQuestionTest, DefinitionsAreEntriesAndIncludes) {
  sandbox_.write("base.kvf", "# first\nacme.home=/x\n");
  const std::string include = "velox.include.kvf=%kvf.file.dir%/base.kvf\n";
  const struct {
    std::string text;
    const char* file;  ///< null: none
    std::size_t line;
  } rows[] = {
      {include + "x=%acme.h|ome%\n", "base.kvf", 1},
      {"velox.env.ACME=1\nx=%AC|ME%\n", "app.kvf", 0},
      {"velox.include.kvf=%kvf.file.dir%/ba|se.kvf\n", "base.kvf", 0},
      {"x|=1\nx=2\n", "app.kvf", 1},
      {"x=%gon|e%\n", nullptr, 0},
      {"x=%kvf.fi|le.dir%\n", nullptr, 0},
  };
  for (const auto& row : rows) {
    const Json location = ask(definitionAt, row.text);
    ASSERT_EQ(location.is_null(), row.file == nullptr) << row.text << location;
    if (row.file == nullptr) continue;
    EXPECT_EQ(location["uri"], uri(row.file)) << row.text;
    EXPECT_EQ(location["range"]["start"]["line"], row.line) << row.text;
  }
}

TEST_F(LspQuestionTest, AnIncludedFileIsPartOfItsLaunch) {
  open("app.kvf", "acme.home=/x\nvelox.include.kvf=%kvf.file.dir%/part.kvf\n");
  const Json hover = ask(hoverAt, "y=%acme.h|ome%\n", "part.kvf");
  EXPECT_NE(hover["contents"]["value"].get<std::string>().find("is \"/x\""), std::string::npos);
}

TEST_F(LspQuestionTest, FindingsHaveThePlacesAndFixesOfTheEditor) {
  sandbox_.write("base.kvf", "word\n");
  // The editor keeps the byte order mark to itself.
  sandbox_.write("app.kvf", "\xEF\xBB\xBFx=1\n");
  const OpenDocument& document =
      open("app.kvf",
           probe() + "velox.include.kvf=%kvf.file.dir%/base.kvf\n\xF0\x9F\x98\x80=%\xC3\xA4% \n");
  const Json found = diagnosticsOf(workspace_, document, {});
  ASSERT_EQ(found["files"].size(), 2U) << found;
  EXPECT_EQ(found["read"], Json({document.identity, identityOf(sandbox_.path("base.kvf"))}));
  const Json& own = found["files"][0];
  EXPECT_EQ(own["uri"], document.uri);
  std::map<std::string, Json> byRule;
  for (const Json& diagnostic : own["diagnostics"]) byRule[diagnostic["code"]] = diagnostic;
  EXPECT_FALSE(byRule["byte-order-mark"].contains("data")) << own;
  const Json last = byRule["trailing-blank"];
  ASSERT_TRUE(last.contains("data")) << own;
  EXPECT_EQ(last["data"]["title"], R"(Remove " ")");
  const Json edit = last["data"]["edits"][0];
  EXPECT_EQ(rangeIn(edit["range"]).start, (TextPlace{4, 6})) << "in UTF-16";
  EXPECT_EQ(found["files"][1]["diagnostics"][0]["code"], "no-separator");

  const Json params = {{"textDocument", {{"uri", document.uri}}},
                       {"range", asJson(TextRange{{4, 0}, {4, 0}})},
                       {"context", {{"only", {"quickfix", "source.fixAll"}}}}};
  const Json actions = codeActionsFor(params, own["diagnostics"], workspace_, true);
  ASSERT_EQ(actions.size(), 2U) << actions;
  for (const Json& action : actions)
    EXPECT_EQ(action["edit"]["documentChanges"][0]["textDocument"]["version"], 1) << action;
  Json elsewhere = params;
  elsewhere["range"] = asJson(TextRange{{0, 0}, {0, 0}});
  EXPECT_EQ(codeActionsFor(elsewhere, own["diagnostics"], workspace_, true).size(), 1U);
}

TEST_F(LspQuestionTest, SymbolsAreTheEntries) {
  const Json symbols = ask(symbolsOf, "a=1\n# b=2\nvelox.env.C=3\nword\n");
  ASSERT_EQ(symbols.size(), 2U);
  EXPECT_EQ(symbols[1]["name"], "velox.env.C");
  EXPECT_EQ(symbols[1]["location"]["range"], asJson(TextRange{{2, 0}, {2, 13}}));
}

TEST_F(LspTest, FindingsFollowTheTexts) {
  sandbox_.write("base.kvf", "acme.home=/x\n");
  RunningServer server(sandbox_);
  const auto say = [&](const Json& message) { server.say(message); };
  const auto document = [&](const char* name, int version) {
    return Json{{"uri", uriOfPath(sandbox_.path(name))}, {"version", version}};
  };
  const auto published = [&](const char* name, const std::string& diagnostics, int version) {
    return server.prints("{\"diagnostics\":" + diagnostics + ",\"uri\":\"" +
                         uriOfPath(sandbox_.path(name)) + "\"" +
                         (version == 0 ? "}" : ",\"version\":" + std::to_string(version) + "}"));
  };
  say(Json::parse(initialize));
  Json opened = document("app.kvf", 1);
  opened["text"] = probe() + "velox.include.kvf=%kvf.file.dir%/base.kvf\nx=%acme.home%%ACME%\n";
  say({{"method", "textDocument/didOpen"}, {"params", {{"textDocument", opened}}}});
  EXPECT_TRUE(server.prints("unset-variable"));
  Json base = document("base.kvf", 1);
  base["text"] = "acme.home=/x\nvelox.env.ACME=1\nword\n";
  say({{"method", "textDocument/didOpen"}, {"params", {{"textDocument", base}}}});
  EXPECT_TRUE(server.prints("no-separator")) << "what is not saved counts";
  const Json change = {{"range", asJson(TextRange{{2, 0}, {3, 0}})}, {"text", ""}};
  say({{"method", "textDocument/didChange"},
       {"params", {{"textDocument", document("base.kvf", 2)}, {"contentChanges", {change}}}}});
  EXPECT_TRUE(published("base.kvf", "[]", 2));
  say({{"method", "textDocument/didClose"},
       {"params", {{"textDocument", document("app.kvf", 1)}}}});
  EXPECT_TRUE(published("app.kvf", "[]", 0));
  say(Json::parse(shutdown));
  say(Json::parse(leave));
  EXPECT_EQ(server.wait().status, 0);
}

TEST_F(LspTest, QuestionsAreAnsweredUnlessTheyAreCancelled) {
  const std::string uri = uriOfPath(sandbox_.path("app.kvf"));
  const Json document = {{"uri", uri}, {"version", 1}, {"text", "java.heap.size.max=1g\n"}};
  const Json open = {{"method", "textDocument/didOpen"}, {"params", {{"textDocument", document}}}};
  const auto hover = [&](int id) {
    return Json{
        {"id", id},
        {"method", "textDocument/hover"},
        {"params",
         {{"textDocument", {{"uri", uri}}}, {"position", {{"line", 0}, {"character", 5}}}}}};
  };
  RunningServer server(sandbox_);
  for (const Json& message : {Json::parse(initialize), open, hover(5)}) server.say(message);
  EXPECT_TRUE(server.prints("Becomes: -Xmx"));
  for (const std::string& message : {shutdown, leave}) server.say(Json::parse(message));
  const Outcome outcome = server.wait();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_TRUE(outcome.has("\"id\":5,\"jsonrpc\":\"2.0\",\"result\":{\"contents\":"));

  // At once, so that nothing is answered before.
  RunningServer other(sandbox_);
  const Json cancel = {{"method", "$/cancelRequest"}, {"params", {{"id", 7}}}};
  other.sayAtOnce({Json::parse(initialize), open, hover(6), hover(7), cancel});
  EXPECT_TRUE(other.prints("-32800"));
  EXPECT_TRUE(other.prints("\"id\":6,\"jsonrpc\":\"2.0\",\"result\":{\"contents\":"));

  // However many there are, a few are worked on at once, and each has its answer.
  RunningServer busy(sandbox_);
  std::vector<Json> messages = {Json::parse(initialize), open};
  for (int id = 100; id < 160; ++id) messages.push_back(hover(id));
  busy.sayAtOnce(messages);
  std::size_t most = 0;
  for (int look = 0; look < 300; ++look, ::usleep(1000)) most = std::max(most, busy.children());
  EXPECT_LE(most, 5U) << "four, and the one that checks";
  for (int id = 100; id < 160; ++id)
    EXPECT_TRUE(busy.prints("\"id\":" + std::to_string(id) + ",\"jsonrpc\":\"2.0\",\"result\""));
}

/// The diagnostics of that version of the document in what a server has printed.
Json diagnosticsIn(const std::string& printed, const std::string& uri, int version) {
  MessageReader reader;
  reader.add(printed);
  Json found;
  while (const auto message = reader.next()) {
    const Json body = Json::parse(message->body);
    if (body.value("method", "") != "textDocument/publishDiagnostics") continue;
    const Json& params = body["params"];
    if (params["uri"] == uri && params.value("version", 0) == version)
      found = params["diagnostics"];
  }
  return found;
}

TEST_F(LspTest, EditsLeadToTheFindingsOfTheTextThatTheyMake) {
  const std::string uri = uriOfPath(sandbox_.path("app.kvf"));
  const auto edit = [](TextRange range, const char* text) {
    return Json{{"range", asJson(range)}, {"text", text}};
  };
  // Typed, with pauses and without, over lines, characters of two units and carriage returns.
  const std::vector<std::vector<Json>> versions = {
      {edit({{3, 0}, {3, 0}}, "java.property.\xF0\x9F\x98\x80=%kvf.file.dir")},
      {edit({{3, 30}, {3, 30}}, "/a \r\nword\r\n"), edit({{4, 4}, {5, 0}}, "=%x%\n")},
      {edit({{3, 14}, {3, 16}}, "b"), edit({{3, 0}, {3, 0}}, "# C:\\\n")},
      {edit({{2, 5}, {3, 5}}, ""), edit({{2, 5}, {2, 5}}, "start.class=probe.Probe\n")},
      {edit({{99, 0}, {99, 9}}, "last = line ")},
  };
  const auto served = [&](const std::string& text, const std::vector<std::vector<Json>>& edits,
                          bool pauses) {
    RunningServer server(sandbox_);
    const auto awaitFindings = [&](int version) {
      EXPECT_TRUE(server.prints("\"version\":" + std::to_string(version) + "}"));
    };
    server.say(Json::parse(initialize));
    Json document = {{"uri", uri}, {"version", 1}, {"text", text}};
    server.notify("textDocument/didOpen", {{"textDocument", document}});
    if (pauses) awaitFindings(1);
    int version = 1;
    for (const std::vector<Json>& changes : edits) {
      document = {{"uri", uri}, {"version", ++version}};
      server.notify("textDocument/didChange",
                    {{"textDocument", document}, {"contentChanges", changes}});
      if (pauses) awaitFindings(version);
    }
    awaitFindings(version);
    for (const std::string& message : {shutdown, leave}) server.say(Json::parse(message));
    const Outcome outcome = server.wait();
    EXPECT_EQ(outcome.status, 0);
    return diagnosticsIn(outcome.out, uri, version);
  };
  TextDocument text(probe(), utf16);
  for (const std::vector<Json>& changes : versions) {
    for (const Json& change : changes)
      text.replace(rangeIn(change["range"]), change["text"].get<std::string>());
  }
  const Json expected = served(text.text(), {}, true);
  EXPECT_FALSE(expected.empty());
  for (const bool pauses : {true, false})
    EXPECT_EQ(served(probe(), versions, pauses), expected) << text.text();
}

}  // namespace
