// Any bytes as the settings store, loaded and saved back: the save keeps what was loaded, and a
// store that could not be read is set aside byte for byte.
#include <cstdint>
#include <string>

#include "fuzz/FuzzSupport.h"
#include "support/StoredPlacement.h"
#include "support/TempDir.h"

namespace {

// What SaveSettings writes of these values into an empty store: their text, for comparing.
std::string Saved(CSettings settings, const TempDir& empty) {
    settings.m_ConfigDir = empty.Path();
    settings.SaveSettings();
    const std::string text = ReadFile(empty / "registry.reg");
    ClearDirectory(empty.Path());
    return text;
}

CSettings Load(const TempDir& store) {
    CSettings settings;
    settings.m_ConfigDir = store.Path();
    settings.m_AppPath = "/usr/local/bin/quaylon";
    settings.LoadSettings();
    return settings;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const TempDir store(ScratchParent());
    static const TempDir empty(ScratchParent());
    const std::string input(reinterpret_cast<const char*>(data), size);
    WriteFile(store / "registry.reg", input);

    const CSettings loaded = Load(store);
    const StoredPlacement placement = LoadPlacement(loaded);
    loaded.SaveSettings();

    if (FileExists(store / "registry.reg.bad")) {
        Require(ReadFile(store / "registry.reg.bad") == input,
                "an unreadable store is set aside as it was");
    }
    const CSettings reloaded = Load(store);
    Require(Saved(reloaded, empty) == Saved(loaded, empty), "a save keeps every value loaded");
    Require(LoadPlacement(reloaded) == placement, "a save keeps the window placement");
    ClearDirectory(store.Path());
    return 0;
}
