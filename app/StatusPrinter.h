#pragma once

#include <cstdio>

#include "console/ClientListModel.h"

// Prints one line per status message: local time, serial, and what the row now shows.
class StatusPrinter : public ClientListObserver {
  public:
    StatusPrinter(const CClientListModel& model, std::FILE* out) : m_model(model), m_out(out) {}

    void RowInserted(int row, std::uint32_t serial) override { Print(row, serial); }
    void RowChanged(int row, std::uint32_t serial) override { Print(row, serial); }
    void RowsRemoved(int) override {}

  private:
    void Print(int row, std::uint32_t serial);

    const CClientListModel& m_model;
    std::FILE* m_out;
};
