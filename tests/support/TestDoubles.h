#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Clock.h"
#include "platform/Operator.h"

class CDecisionBox;

// A clock the test moves by hand, so time-outs need no waiting.
class ManualClock : public Clock {
  public:
    std::int64_t Seconds() const override { return m_now; }
    void Advance(std::int64_t seconds) { m_now += seconds; }

  private:
    std::int64_t m_now = 1000;
};

// An operator who remembers every box and declines every choice.
class TestOperator : public Operator {
  public:
    void ShowMessage(const std::string& text, BoxIcon) override { messages.push_back(text); }
    bool AskYesNo(const std::string&) override { return false; }
    MultihomedChoice ChooseAddress(const std::vector<std::string>&, bool) override { return {}; }
    std::optional<std::string> AskListenAddress() override { return std::nullopt; }
    void ShowDecisionBox(CDecisionBox& box) override { shownBoxes.push_back(&box); }
    void DestroyDecisionBox(CDecisionBox& box) override { destroyedBoxes.push_back(&box); }

    std::vector<std::string> messages;
    std::vector<CDecisionBox*> shownBoxes;
    std::vector<CDecisionBox*> destroyedBoxes;
};
