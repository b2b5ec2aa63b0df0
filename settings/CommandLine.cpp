#include <cctype>

#include "settings/Settings.h"

void CSettings::ParseArguments(int argc, const char* const* argv) {
    m_AppPath = argc > 0 && argv[0] != nullptr ? argv[0] : "";
    // Only a full path says where the program lies; otherwise the one stored last time does.
    if (m_AppPath.rfind('/', 0) != 0 && !m_StoredLocation.empty()) {
        m_AppPath = m_StoredLocation;
    }
    for (int i = 1; i < argc; ++i) {
        const char* arg = argv[i];
        if ((arg[0] != '-' && arg[0] != '/') || arg[1] == '\0') {
            continue;
        }
        const char* value = arg + 2;
        switch (std::toupper(static_cast<unsigned char>(arg[1]))) {
            case 'A': {
                const int digit = static_cast<signed char>(value[0]) - '0';
                m_nArgAddress = digit >= 0 && digit <= 9 ? digit : -1;
                break;
            }
            case 'I':
                InPath = value;
                m_bInPathArg = 1;
                break;
            case 'O':
                OutPath = value;
                m_bOutPathArg = 1;
                break;
            default:
                break;
        }
    }
}
