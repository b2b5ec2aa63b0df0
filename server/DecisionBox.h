#pragma once

#include <string>
#include <vector>

class CServerApp;

// One of the two modeless boxes that ask what to do with clients being served.
class CDecisionBox {
  public:
    enum class Kind { PortChange, StopServing };

    CDecisionBox(CServerApp& app, Kind kind) : m_app(app), m_kind(kind) {}

    Kind GetKind() const { return m_kind; }
    static const char* Caption() { return "Executive decision time ..."; }
    static const char* OkText() { return "Drop Clients"; }
    static const char* CancelText() { return "Keep Clients"; }
    std::vector<std::string> Texts() const;

    // "Drop Clients" and "Keep Clients". Either may destroy this box: nothing of it is touched
    // after they return.
    void OnOK();
    void OnCancel();

  private:
    CServerApp& m_app;
    Kind m_kind;
};
