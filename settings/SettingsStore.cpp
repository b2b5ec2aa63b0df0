#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "settings/ConfigFiles.h"
#include "settings/RegistryFile.h"
#include "settings/Settings.h"

namespace {

constexpr char kHive[] = "HKEY_CURRENT_USER";
constexpr char kKey[] = "Software\\Orrelin\\Quaylon";

// What a reader's 1000-byte buffer holds with the terminator.
constexpr std::size_t kMaxText = 999;
// bNoIncoming with the three inverted flags: what a key without bDelete reads as.
constexpr std::uint32_t kMissingFlags = 0x2000;
constexpr std::uint32_t kMissingPriority = 255;
constexpr std::uint32_t kMissingDefAddress = 255;

struct FlagBit {
    std::uint32_t bit;
    bool bInverted;  // the bit is set when the member is 0
    std::variant<std::uint32_t CSettings::*, std::uint8_t CSettings::*> member;
};

// The on/off options packed into the word bDelete.
const FlagBit kFlagBits[] = {
    {0x00000002, false, &CSettings::bShowAlert},
    {0x00000004, false, &CSettings::bAllowTsize},
    {0x00000008, false, &CSettings::bAllowTimeout},
    {0x00000010, false, &CSettings::bNoSplash},
    {0x00000020, false, &CSettings::bRaisePriority},
    {0x00000040, false, &CSettings::bUseGraphic},
    {0x00000080, false, &CSettings::bMinimizeAtStartup},
    {0x00000100, true, &CSettings::bShowMultihomed},
    {0x00000200, true, &CSettings::bPreventAutoRestart},
    {0x00000400, true, &CSettings::bOutboundPaths},
    {0x00001000, false, &CSettings::bNoOutbound},
    {0x00002000, false, &CSettings::bNoIncoming},
    {0x00004000, false, &CSettings::bUseTaskbar},
    {0x00008000, false, &CSettings::bSkipRetry},
    {0x00010000, false, &CSettings::bInboundPaths},
    {0x00020000, false, &CSettings::bCreatePaths},
    {0x00040000, false, &CSettings::bRenameDuplicate},
    {0x00080000, false, &CSettings::bRenameExisting},
    {0x00100000, false, &CSettings::bRejectDuplicate},
    {0x00200000, false, &CSettings::bDeleteAfterSend},
};

std::string StorePath(const std::string& configDir) {
    if (!configDir.empty()) {
        return configDir + "/registry.reg";
    }
    const std::string home = ConfigHome();
    return home.empty() ? "" : home + "/Orrelin/registry.reg";
}

std::optional<std::string> ReadText(const RegistryFile& store, const char* name) {
    std::optional<std::string> text = store.ReadText(kKey, name);
    if (text && text->size() > kMaxText) {
        return std::nullopt;
    }
    return text;
}

void UnpackFlags(CSettings& app, std::uint32_t word) {
    for (const FlagBit& flag : kFlagBits) {
        const bool bSet = (word & flag.bit) != 0;
        std::visit([&](auto member) { app.*member = bSet != flag.bInverted ? 1 : 0; }, flag.member);
    }
}

std::uint32_t PackFlags(const CSettings& app) {
    std::uint32_t word = 0;
    for (const FlagBit& flag : kFlagBits) {
        const bool bOn = std::visit([&](auto member) { return app.*member != 0; }, flag.member);
        if (bOn != flag.bInverted) {
            word |= flag.bit;
        }
    }
    return word;
}

}  // namespace

void CSettings::LoadSettings() {
    // A --port given for this run has already been set and must outlive the stored one.
    if (!m_bPortArg) {
        Port = "69";
    }
    Timeout = "30";
    nDefAddress = kMissingDefAddress;
    m_StoredLocation.clear();

    const RegistryFile store(StorePath(m_ConfigDir), kHive);
    if (!store.KeyExists(kKey)) {
        return;
    }
    UnpackFlags(*this, store.ReadDword(kKey, "bDelete").value_or(kMissingFlags));

    // A text value replaces its member only when it could be read.
    const auto take = [&store](const char* name, std::string& member) {
        if (auto text = ReadText(store, name)) {
            member = *text;
        }
    };
    take("InPath", InPath);
    take("Location", m_StoredLocation);
    take("OutPath", OutPath);
    if (!m_bPortArg) {
        Port = ReadText(store, "Port").value_or("69");
    }
    take("Timeout", Timeout);
    take("ForceFile", ForceFile);
    take("SysLogData", SysLogData);
    take("ADData", ADData);

    SysLogFlags = store.ReadDword(kKey, "SysLogFlags").value_or(0);
    IcmpFlags = store.ReadDword(kKey, "IcmpFlags").value_or(0);
    bForce = store.ReadDword(kKey, "bForce").value_or(0);
    bAllow = store.ReadDword(kKey, "bAllow").value_or(0);
    bDeny = store.ReadDword(kKey, "bDeny").value_or(0);
    bDisplay = store.ReadDword(kKey, "bDisplay").value_or(0);
    nDefAddress = store.ReadDword(kKey, "nDefAddress").value_or(kMissingDefAddress);

    if (auto sliders = store.ReadDword(kKey, "nSliders")) {
        nMaxClientsPos = *sliders & 0x0F;
        nMaxDisplayPos = (*sliders >> 4) & 0x0F;
    }
    nPriority = store.ReadDword(kKey, "nPriority").value_or(kMissingPriority);
    take("Logfile", LogFile);
}

void CSettings::SaveSettings() const {
    RegistryFile store(StorePath(m_ConfigDir), kHive);
    store.WriteText(kKey, "Location", m_AppPath);
    // Directories and a port given for one run leave the stored ones in place.
    if (!m_bInPathArg) {
        store.WriteText(kKey, "InPath", InPath);
    }
    if (!m_bOutPathArg) {
        store.WriteText(kKey, "OutPath", OutPath);
    }
    if (!m_bPortArg) {
        store.WriteText(kKey, "Port", Port);
    }
    store.WriteText(kKey, "Timeout", Timeout);
    store.WriteText(kKey, "ForceFile", ForceFile);
    store.WriteText(kKey, "SysLogData", SysLogData);
    store.WriteText(kKey, "ADData", ADData);
    store.WriteDword(kKey, "SysLogFlags", SysLogFlags);
    store.WriteDword(kKey, "IcmpFlags", IcmpFlags);
    store.WriteDword(kKey, "bForce", bForce);
    store.WriteDword(kKey, "bAllow", bAllow);
    store.WriteDword(kKey, "bDeny", bDeny);
    store.WriteDword(kKey, "bDisplay", bDisplay);
    store.WriteDword(kKey, "bDelete", PackFlags(*this));
    store.WriteDword(kKey, "nDefAddress", nDefAddress);
    store.WriteDword(kKey, "nSliders", nMaxDisplayPos * 16 + nMaxClientsPos);
    store.WriteDword(kKey, "nPriority", nPriority);
    store.WriteText(kKey, "LogFile", LogFile);
    store.Commit();
}

int CSettings::LoadWindowPlacement(int rect[4], std::uint32_t* pbMinimized, int* pCol1, int* pCol2,
                                   int* pCol3, int* pCol4, int* pCol5, int* pCol6) const {
    int* const widths[6] = {pCol1, pCol2, pCol3, pCol4, pCol5, pCol6};
    for (int i = 0; i < 6; ++i) {
        *widths[i] = kDefaultWidths[i];
    }
    int result = 0;
    const RegistryFile store(StorePath(m_ConfigDir), kHive);
    const std::optional<std::uint32_t> left =
        store.KeyExists(kKey) ? store.ReadDword(kKey, "WinLeft") : std::nullopt;
    if (left) {
        // A missing side repeats the one read before it, as one reused variable would.
        std::uint32_t value = *left;
        rect[0] = static_cast<int>(value);
        const char* const sides[3] = {"WinTop", "WinRight", "WinBottom"};
        for (int i = 0; i < 3; ++i) {
            value = store.ReadDword(kKey, sides[i]).value_or(value);
            rect[i + 1] = static_cast<int>(value);
        }
        result = 1;

        const std::optional<std::uint32_t> col1 = store.ReadDword(kKey, "Col1");
        const std::int64_t width = std::int64_t{rect[2]} - rect[0];
        if (col1 && static_cast<std::int32_t>(*col1) < width) {
            value = *col1;
            *widths[0] = static_cast<int>(value);
            const char* const cols[5] = {"Col2", "Col3", "Col4", "Col5", "Col6"};
            for (int i = 0; i < 5; ++i) {
                value = store.ReadDword(kKey, cols[i]).value_or(value);
                *widths[i + 1] = static_cast<int>(value);
            }
        }
    }
    *pbMinimized = bMinimizeAtStartup;
    return result;
}

void CSettings::SaveWindowPlacement(int left, int top, int right, int bottom, int /*reserved*/,
                                    int col1, int col2, int col3, int col4, int col5,
                                    int col6) const {
    RegistryFile store(StorePath(m_ConfigDir), kHive);
    store.WriteDword(kKey, "WinLeft", static_cast<std::uint32_t>(left));
    store.WriteDword(kKey, "WinTop", static_cast<std::uint32_t>(top));
    store.WriteDword(kKey, "WinRight", static_cast<std::uint32_t>(right));
    store.WriteDword(kKey, "WinBottom", static_cast<std::uint32_t>(bottom));
    // The end of a session passes -1: the widths of the last normal close stay.
    if (col1 != -1 && col2 != -1) {
        const int widths[6] = {col1, col2, col3, col4, col5, col6};
        for (int i = 0; i < 6; ++i) {
            store.WriteDword(kKey, "Col" + std::to_string(i + 1),
                             static_cast<std::uint32_t>(widths[i]));
        }
    }
    store.Commit();
}
