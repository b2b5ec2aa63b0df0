#include <gtest/gtest.h>

#include "settings/RegistryFile.h"
#include "support/TempDir.h"

namespace {
constexpr char kHive[] = "HKEY_CURRENT_USER";
constexpr char kKey[] = "Software\\Orrelin\\Quaylon";
}  // namespace

TEST(RegistryFile, ReadsWhatRegistryExportsHold) {
    TempDir dir;
    WriteFile(dir / "r.reg",
              "\xEF\xBB\xBFREGEDIT4\r\n\r\n"
              "[hkey_current_user\\software\\orrelin\\quaylon\\Sub]\r\n"
              "[HKEY_CURRENT_USER\\Software\\Orrelin\\Quaylon]\r\n"
              "\"Bin\"=hex(7):41,00,\\\r\n  00,00\r\n"
              "  \"Port\" = \"69\"  \r\n"
              "\"bDelete\"=DWORD:ABCD\r\n"
              "\"Odd \\\"name\\\\\"=\"x\"\r\n");
    RegistryFile store(dir / "r.reg", kHive);
    EXPECT_TRUE(store.KeyExists(kKey));
    EXPECT_FALSE(store.KeyExists("Software\\Orrelin\\Quay"));
    EXPECT_EQ(store.ReadText(kKey, "Port"), "69");
    EXPECT_EQ(store.ReadDword(kKey, "bDelete"), 0xABCDu);
    EXPECT_EQ(store.ReadText(kKey, "odd \"NAME\\"), "x");
    EXPECT_EQ(store.ReadDword(kKey, "Port"), std::nullopt) << "a text is no dword";
    // A line break has no form in the syntax: the write is refused, the stored text stays.
    EXPECT_FALSE(store.WriteText(kKey, "Port", "6\n9"));
    EXPECT_EQ(store.ReadText(kKey, "Port"), "69");
}

TEST(RegistryFile, MalformedFilesHoldNoKeyAndAreKeptOnWrite) {
    const std::string key = "[HKEY_CURRENT_USER\\Software\\Orrelin\\Quaylon]\n";
    const std::string header = "Windows Registry Editor Version 5.00\n";
    for (const std::string& text : {
             key + "\"Port\"=\"69\"\n",                       // no header
             header + key + "\"Port\"=\"6\\9\"\n",            // unknown escape
             header + key + "\"bDelete\"=dword:123456789\n",  // nine digits
             header + key + "\"Blob\"=hex:01,\\\n",           // ends inside a value
         }) {
        TempDir dir;
        WriteFile(dir / "r.reg", text);
        ::testing::internal::CaptureStderr();
        RegistryFile store(dir / "r.reg", kHive);
        EXPECT_NE(::testing::internal::GetCapturedStderr(), "") << text;
        EXPECT_FALSE(store.KeyExists(kKey)) << text;
        // A write keeps the unreadable file aside and starts afresh.
        store.WriteDword(kKey, "bDelete", 1);
        ASSERT_TRUE(store.Commit());
        EXPECT_EQ(ReadFile(dir / "r.reg.bad"), text);
    }
}
