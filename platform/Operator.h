#pragma once

#include <optional>
#include <string>
#include <vector>

class CDecisionBox;

enum class BoxIcon { Exclamation, Information, Question };

// What the server asks of the person at the console: message boxes and choices.
class Operator {
  public:
    virtual ~Operator() = default;

    // A box that the operator dismisses.
    virtual void ShowMessage(const std::string& text, BoxIcon icon) = 0;

    // A question with Yes and No; true for Yes.
    virtual bool AskYesNo(const std::string& text) = 0;

    struct MultihomedChoice {
        bool bOk = false;             // left with OK
        int nSelected = -1;           // line selected, -1 for none
        bool bDontShowAgain = false;  // state of "Do not show this box again"
    };
    // The multihomed box: pick one of the host's addresses.
    virtual MultihomedChoice ChooseAddress(const std::vector<std::string>& addresses,
                                           bool bDontShowAgain) = 0;

    // The listen address box, for a host name that does not resolve; empty if not left with OK.
    virtual std::optional<std::string> AskListenAddress() = 0;

    // A modeless "Executive decision time ..." box. The answer comes later through the box's
    // OnOK or OnCancel, never from inside ShowDecisionBox.
    virtual void ShowDecisionBox(CDecisionBox& box) = 0;
    // The box's window goes; called just before the box object is destroyed.
    virtual void DestroyDecisionBox(CDecisionBox& box) = 0;
};
