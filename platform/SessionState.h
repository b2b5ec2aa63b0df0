#pragma once

#include <string>

// Whether the user's login session is ending, as systemd-logind records it: the session of
// $XDG_SESSION_ID is closing or already gone. False where there is no such record to ask.
bool SessionClosing(const std::string& sessionsDir = "/run/systemd/sessions");
