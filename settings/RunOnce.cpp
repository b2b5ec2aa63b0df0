#include <string>

#include "settings/ConfigFiles.h"
#include "settings/Settings.h"

namespace {

// One word for sh, whatever the text holds.
std::string ShellQuote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

// One argument of a desktop entry's Exec: quoted by the Exec rules, then escaped as a string
// value, so an escaping backslash comes out as two and a literal one as four.
std::string ExecArgument(const std::string& text) {
    std::string quoted = "\"";
    for (char c : text) {
        switch (c) {
            case '"':
            case '`':
            case '$':
                quoted += "\\\\";
                quoted += c;
                break;
            case '\\':
                quoted += "\\\\\\\\";
                break;
            case '%':
                quoted += "%%";
                break;
            case '\n':
                quoted += "\\n";
                break;
            case '\t':
                quoted += "\\t";
                break;
            case '\r':
                quoted += "\\r";
                break;
            default:
                quoted += c;
                break;
        }
    }
    return quoted + "\"";
}

}  // namespace

void CSettings::WriteRunOnce(std::string path) const {
    if (bPreventAutoRestart != 0) {
        return;
    }
    const std::string home = ConfigHome();
    if (home.empty()) {
        return;
    }
    const bool bUpdate = !path.empty();
    const std::string entry =
        home + (bUpdate ? "/autostart/NewQuaylon.desktop" : "/autostart/Quaylon.desktop");
    const std::string program = bUpdate ? path : m_AppPath;
    // The entry takes itself away before the program starts, so it runs at one log-on only.
    const std::string script = "rm -f " + ShellQuote(entry) + "; exec " + ShellQuote(program);
    const std::string content =
        "[Desktop Entry]\n"
        "Type=Application\n"
        "Name=Quaylon\n"
        "Exec=sh -c " +
        ExecArgument(script) +
        "\n"
        "Terminal=false\n";
    ReplaceFile(entry, content, 0644);
}
