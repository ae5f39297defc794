#include "kvf/import/SessionVariables.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "foundation/TextPieces.h"
#include "kvf/jvm/OptionVariables.h"
namespace {

constexpr std::string_view sessionNames[] = {"_",
                                             "COLORTERM",
                                             "COLUMNS",
                                             "DISPLAY",
                                             "EDITOR",
                                             "HISTFILE",
                                             "HISTSIZE",
                                             "HOME",
                                             "HOSTNAME",
                                             "HUSHLOGIN",
                                             "LINES",
                                             "LOGNAME",
                                             "LS_COLORS",
                                             "MAIL",
                                             "MAINPID",
                                             "NOTIFY_SOCKET",
                                             "OLDPWD",
                                             "PAGER",
                                             "PS1",
                                             "PWD",
                                             "SHELL",
                                             "SHLVL",
                                             "TERM",
                                             "TERM_PROGRAM",
                                             "TMUX",
                                             "USER",
                                             "VISUAL",
                                             "WINDOWID",
                                             "XAUTHORITY",
                                             "INVOCATION_ID",
                                             "JOURNAL_STREAM",
                                             "MANAGERPID",
                                             "SYSTEMD_EXEC_PID",
                                             "EXEC_PID",
                                             "STY"};
// The functions that a shell exports are among them.
constexpr std::string_view sessionPrefixes[] = {
    "BASH_FUNC_", "DBUS_", "LESS", "LISTEN_",   "MEMORY_PRESSURE_", "SSH_",
    "SUDO_",      "TMUX_", "XDG_", "WATCHDOG_", "WAYLAND_"};
constexpr std::string_view usedUp[] = {"CLASSPATH", optionvariables::ofJava};

template <class List>
bool isIn(const List& list, std::string_view name) {
  return std::find(std::begin(list), std::end(list), name) != std::end(list);
}

/// True for the search path that systems give to everything.
bool isUsualPath(std::string_view path) {
  constexpr std::string_view usual[] = {"/usr/local/sbin", "/usr/local/bin", "/usr/sbin",
                                        "/usr/bin",        "/sbin",          "/bin"};
  const std::vector<std::string_view> elements = pathElements(path);
  return std::all_of(elements.begin(), elements.end(),
                     [&](std::string_view element) { return isIn(usual, element); });
}

}  // namespace

bool isOfSession(const std::string& name, const std::string& value) {
  if (isIn(sessionNames, name)) return true;
  if (name == "PATH") return isUsualPath(value);
  return std::any_of(std::begin(sessionPrefixes), std::end(sessionPrefixes),
                     [&](std::string_view prefix) { return name.starts_with(prefix); });
}

bool isUsedUp(std::string_view name) {
  return isIn(usedUp, name);
}
