#include "app/StatusPrinter.h"

#include <ctime>

void StatusPrinter::Print(int row, std::uint32_t serial) {
    using M = CClientListModel;
    const M::Row& r = m_model.Rows()[static_cast<std::size_t>(row)];
    std::fprintf(m_out, "%s [%u] %s | %s | %s | %s\n", M::FormatTime(std::time(nullptr)).c_str(),
                 serial, r.columns[M::kClient].c_str(), r.columns[M::kFile].c_str(),
                 r.columns[M::kStatus].c_str(), r.columns[M::kResult].c_str());
}
