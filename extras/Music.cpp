#include "extras/Music.h"

#include <dirent.h>

#include <cstdlib>
#include <vector>

#include "platform/Operator.h"

CMusic::CMusic(MidiPlayer& player, Operator& op, std::function<std::string()> appPath)
    : m_player(player), m_operator(op), m_appPath(std::move(appPath)), m_rand([] {
          // Never seeded: each run draws the same series.
          return std::rand();
      }) {}

void CMusic::OnMusic() {
    m_bMusic = m_bMusic ? 0 : 1;
    if (m_bMusic) {
        PlayMusic();
    } else {
        m_player.Close();
    }
}

void CMusic::OnMciNotify() {
    m_player.Close();
    if (m_bMusic) {
        PlayMusic();
    }
}

void CMusic::PlayMusic() {
    const std::string path = PickMidiFile();
    if (path.empty() || !m_player.Open(path)) {
        return;
    }
    if (!m_player.TestOutput()) {
        m_player.Close();
        return;
    }
    if (!m_player.Play([this] { OnMciNotify(); })) {
        m_player.Close();
    }
}

std::string CMusic::PickMidiFile() {
    std::string directory = m_appPath();
    const auto slash = directory.rfind('/');
    if (slash != std::string::npos && slash > 0) {
        directory.erase(slash + 1);
    }
    std::vector<std::string> names;
    if (DIR* dir = opendir(directory.empty() ? "." : directory.c_str())) {
        while (dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name.size() > 4 && name.compare(name.size() - 4, 4, ".mid") == 0) {
                names.push_back(name);
            }
        }
        closedir(dir);
    }
    if (names.empty()) {
        m_operator.ShowMessage("Unable to locate any .mid files at\n" + directory,
                               BoxIcon::Information);
        return {};
    }
    std::string choice;
    for (const std::string& name : names) {
        choice = name;
        if ((m_rand() & 8) != 0) {
            break;
        }
    }
    return directory + choice;
}
