#include "ConfigManager.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <climits>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ByteWriter.h"
#include "TempDir.h"

namespace {

using Mirrors = std::vector<std::optional<std::string>>;

Record_tag MakeRecord(const std::string& name, const std::string& host, std::uint8_t passive,
                      Mirrors mirrors) {
    return {name, host, "me", "secret", 0, passive, "21", "/tmp", "/pub", "hi", std::move(mirrors)};
}

GRecord_tag MakeGlobal() {
    return {"Swis721 BT", "Roman", 11, 0, "", 1, "fw", "fu", "fp", "2121", "USER %u@%h:%o", 0};
}

// The global record of MakeGlobal, by hand; the version decides whether trailerByte follows.
ByteWriter& WriteGlobal(ByteWriter& out, bool withTrailer) {
    out.Str("Swis721 BT").Str("Roman").Byte(11).Byte(0).Str("").Byte(1);
    out.Str("fw").Str("fu").Str("fp").Str("2121").Str("USER %u@%h:%o");
    return withTrailer ? out.Byte(0) : out;
}

// The record MakeRecord(name, host, passive, mirrors), by hand.
ByteWriter& WriteRecord(ByteWriter& out, const std::string& name, const std::string& host,
                        std::uint8_t passive, const std::vector<std::string>& mirrors) {
    out.Str(name).Str(host).Str("me").Str("secret").Byte(0).Byte(passive);
    out.Str("21").Str("/tmp").Str("/pub").Str("hi").Int(static_cast<std::int32_t>(mirrors.size()));
    for (const auto& mirror : mirrors) {
        out.Str(mirror);
    }
    return out;
}

// A record of only a name and host, its other fields cut off, as a damaged file leaves it.
ByteWriter& StartRecord(ByteWriter& out) {
    return out.Str("Home").Str("h").Str("u").Str("p").Byte(0).Byte(0).Str("21").Str("").Str("").Str(
        "");
}

Record_tag OnlyNamed(const std::string& name) {
    Record_tag record;
    record.name = name;
    return record;
}

mode_t ModeOf(const std::filesystem::path& file) {
    struct stat status {};
    EXPECT_EQ(::stat(file.c_str(), &status), 0);
    return status.st_mode & 07777;
}

// Makes writes beyond bytes fail as on a full disk.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &saved_);
        rlimit limit = saved_;
        limit.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &saved_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    rlimit saved_{};
    void (*handler_)(int);
};

class ConfigManagerFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        ConfigManager::SetCorruptionHandler(
            [this](const std::string& text) { corruptionTexts_.push_back(text); });
    }
    void TearDown() override { ConfigManager::SetCorruptionHandler(nullptr); }

    void WriteSettings(const std::string& bytes) const { TempDir::WriteFile(file_, bytes); }
    std::string ReadSettings() const { return TempDir::Read(file_); }
    std::vector<std::string> FolderEntries() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(dir_.Path())) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    }

    TempDir dir_{"tarvik-config"};
    std::filesystem::path file_ = dir_ / "Tarvik_settings_data";
    std::vector<std::string> corruptionTexts_;
};

TEST_F(ConfigManagerFileTest, SavedBytesMatchTheFormatAndLoadAndSaveAgainUnchanged) {
    ConfigManager config(file_.string());
    config.SetGlobalRecord(std::make_unique<GRecord_tag>(MakeGlobal()));
    config.AddRecord(std::make_unique<Record_tag>(MakeRecord("Home", "ftp.home", 1, {"m1", "m22"})),
                     -1);
    config.AddRecord(std::make_unique<Record_tag>(MakeRecord("Work", "", 0, {})), -1);
    ASSERT_TRUE(config.SaveConfig());
    ByteWriter expected;
    WriteGlobal(expected.Int(3).Int(1), true).Int(2);
    WriteRecord(expected, "Home", "ftp.home", 1, {"m1", "m22"});
    WriteRecord(expected, "Work", "", 0, {});
    EXPECT_EQ(ReadSettings(), expected.Bytes());
    ConfigManager again(file_.string());
    ASSERT_TRUE(again.LoadConfig());
    ASSERT_TRUE(again.SaveConfig());
    EXPECT_EQ(ReadSettings(), expected.Bytes());

    // A field a damaged file could not supply goes out as the empty string.
    ConfigManager damaged(file_.string());
    damaged.AddRecord(std::make_unique<Record_tag>(OnlyNamed("only a name")), -1);
    ASSERT_TRUE(damaged.SaveConfig());
    ByteWriter unread;
    unread.Int(3).Int(0).Int(1).Str("only a name").Str("").Str("").Str("").Byte(0).Byte(0);
    unread.Str("").Str("").Str("").Str("").Int(0);
    EXPECT_EQ(ReadSettings(), unread.Bytes());
}

// Strings up to 100 bytes come back as they were; longer ones are cut on saving, at a character
// boundary, so that the file loads again.
TEST_F(ConfigManagerFileTest, SaveThenLoadReproducesEverythingAndCutsOverlongStrings) {
    Mirrors manyMirrors;
    for (int i = 0; i < 12; ++i) {
        manyMirrors.push_back("mirror" + std::to_string(i) + ".example.org");
    }
    std::vector<Record_tag> originals{
        MakeRecord("Home", "ftp.home", 1, {"m1"}), MakeRecord("Work", "", 0, manyMirrors),
        MakeRecord(std::string(100, 'n'), "caf\xC3\xA9", 1, {"", "x"})};
    originals[1].reserved = 255;
    originals[1].comments = std::string(100, 'c');
    originals[2].login = "";
    originals[2].password = "p\xFFw";
    std::vector<Record_tag> expected = originals;
    // Exactly 100; 101; a two- and a three-byte character across the limit; one ending at it.
    const std::pair<std::string, std::string> overlong[] = {
        {std::string(100, 'a'), std::string(100, 'a')},
        {std::string(101, 'a'), std::string(100, 'a')},
        {std::string(99, 'a') + "\xC3\xA9", std::string(99, 'a')},
        {std::string(98, 'a') + "\xE2\x82\xAC", std::string(98, 'a')},
        {std::string(98, 'a') + "\xC3\xA9" + "b", std::string(98, 'a') + "\xC3\xA9"},
    };
    for (const auto& [text, cut] : overlong) {
        const std::string name = "cut" + std::to_string(originals.size());
        originals.push_back(MakeRecord(name, "h", 0, {text}));
        originals.back().comments = text;
        expected.push_back(MakeRecord(name, "h", 0, {cut}));
        expected.back().comments = cut;
    }
    GRecord_tag global = MakeGlobal();
    global.fontSize = 255;
    global.spareByte = 7;
    global.trailerByte = 9;

    ConfigManager writer(file_.string());
    writer.SetGlobalRecord(std::make_unique<GRecord_tag>(global));
    for (const Record_tag& original : originals) {
        writer.AddRecord(std::make_unique<Record_tag>(original), -1);
    }
    ASSERT_TRUE(writer.SaveConfig());

    ConfigManager reader(file_.string());
    ASSERT_TRUE(reader.LoadConfig());
    ASSERT_EQ(reader.CountRecords(), static_cast<long>(expected.size()));
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(*reader.GetRecord(static_cast<long>(i)), expected[i]) << "record " << i;
    }
    ASSERT_NE(reader.GetGlobalRecord(), nullptr);
    EXPECT_EQ(*reader.GetGlobalRecord(), global);
    EXPECT_TRUE(corruptionTexts_.empty());
}

TEST_F(ConfigManagerFileTest, FileIsReadableByItsOwnerOnly) {
    const mode_t savedMask = ::umask(0);  // a sloppy open(..., 0666) would show here
    {
        ConfigManager config(file_.string());
        EXPECT_FALSE(config.LoadConfig());  // missing: created empty
        EXPECT_EQ(std::filesystem::file_size(file_), 0u);
        EXPECT_EQ(ModeOf(file_), 0600u);
        ASSERT_TRUE(config.SaveConfig());
        EXPECT_EQ(ModeOf(file_), 0600u);
    }
    ::umask(savedMask);

    // An older file that others could read is replaced by a private one.
    std::filesystem::permissions(file_, std::filesystem::perms(0644));
    ASSERT_TRUE(ConfigManager(file_.string()).SaveConfig());
    EXPECT_EQ(ModeOf(file_), 0600u);
}

// A full disk in the middle of a save: the old file stays whole and no new file is left over.
TEST_F(ConfigManagerFileTest, ASaveThatCannotCompleteLeavesTheOldFileAlone) {
    const std::string old = ByteWriter().Int(3).Int(0).Int(0).Bytes();
    WriteSettings(old);
    ConfigManager config(file_.string());
    config.SetGlobalRecord(std::make_unique<GRecord_tag>(MakeGlobal()));
    for (int i = 0; i < 10; ++i) {
        config.AddRecord(
            std::make_unique<Record_tag>(MakeRecord("r" + std::to_string(i), "host", 0, {"m"})),
            -1);
    }
    {
        FileSizeLimit limit(64);
        EXPECT_FALSE(config.SaveConfig());
    }
    EXPECT_EQ(ReadSettings(), old);
    EXPECT_EQ(FolderEntries(), std::vector<std::string>{"Tarvik_settings_data"});
    EXPECT_TRUE(config.SaveConfig()) << "the same save succeeds once there is room";
    EXPECT_NE(ReadSettings(), old);
    EXPECT_EQ(FolderEntries(), std::vector<std::string>{"Tarvik_settings_data"});

    const auto missing = dir_ / "missing" / "Tarvik_settings_data";
    EXPECT_FALSE(ConfigManager(missing.string()).SaveConfig());
    EXPECT_FALSE(std::filesystem::exists(missing.parent_path())) << "no folder is made";
}

TEST_F(ConfigManagerFileTest, LoadsHandBuiltFiles) {
    ByteWriter v2;
    WriteGlobal(v2.Int(2).Int(1), false).Int(1);
    WriteRecord(v2, "Home", "ftp.home", 1, {"m1"});
    ByteWriter v4;
    WriteGlobal(v4.Int(4).Int(1), true).Int(0);
    ByteWriter otherFlag;
    WriteRecord(otherFlag.Int(3).Int(2).Int(1), "Home", "ftp.home", 1, {});
    ByteWriter bigCount;  // announces more records than the file holds
    WriteRecord(bigCount.Int(3).Int(0).Int(INT_MAX), "Home", "ftp.home", 1, {});

    // A global record before version 3 has no trailerByte: it reads as 1.
    GRecord_tag oldGlobal = MakeGlobal();
    oldGlobal.trailerByte = 1;
    const Record_tag home = MakeRecord("Home", "ftp.home", 1, {"m1"});
    const Record_tag bare = MakeRecord("Home", "ftp.home", 1, {});
    struct Case {
        const char* what;
        std::string bytes;
        long records;
        std::optional<GRecord_tag> global;
        std::optional<Record_tag> first;
        bool oldVersion;
    };
    const Case cases[] = {
        {"version 3, flag 0, count 0", ByteWriter().Int(3).Int(0).Int(0).Bytes(), 0, {}, {}, false},
        {"version 2 read in step after its shorter global record", v2.Bytes(), 1, oldGlobal, home,
         true},
        {"version 4 reads trailerByte", v4.Bytes(), 0, MakeGlobal(), {}, true},
        {"flag other than 1 means no global record", otherFlag.Bytes(), 1, {}, bare, false},
        {"count beyond the end", bigCount.Bytes(), 1, {}, bare, false},
        {"negative count", ByteWriter().Int(3).Int(0).Int(-5).Bytes(), 0, {}, {}, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        WriteSettings(c.bytes);
        ConfigManager config(file_.string());
        config.AddRecord(std::make_unique<Record_tag>(MakeRecord("stale", "h", 0, {})), -1);
        config.SetGlobalRecord(std::make_unique<GRecord_tag>(MakeGlobal()));
        ::testing::internal::CaptureStdout();
        EXPECT_TRUE(config.LoadConfig());
        EXPECT_EQ(::testing::internal::GetCapturedStdout(),
                  c.oldVersion ? "Old settings version.\n" : "");
        EXPECT_EQ(config.CountRecords(), c.records);
        const GRecord_tag* global = config.GetGlobalRecord();
        EXPECT_EQ(global ? std::optional(*global) : std::nullopt, c.global);
        if (c.first) {
            EXPECT_EQ(*config.GetRecord(0L), *c.first);
        }
        EXPECT_EQ(config.GetRecord("stale"), nullptr);
        ASSERT_TRUE(config.SaveConfig());
        EXPECT_EQ(ReadSettings().substr(0, 4), ByteWriter().Int(3).Bytes()) << "saved as version 3";
    }
    EXPECT_TRUE(corruptionTexts_.empty());
}

// A file cut short anywhere keeps what came before the cut, down to the field.
TEST_F(ConfigManagerFileTest, ShortFileAtEveryLengthFailsOrKeepsWhatWasRead) {
    ByteWriter full;
    WriteGlobal(full.Int(3).Int(1), true);
    const std::size_t globalEnd = full.Size();
    full.Int(2);
    const std::size_t countEnd = full.Size();
    WriteRecord(full, "Home", "ftp.home", 1, {"m1", "m2"});
    const std::size_t firstEnd = full.Size();
    WriteRecord(full, "Work", "ftp.work", 0, {});
    const Record_tag first = MakeRecord("Home", "ftp.home", 1, {"m1", "m2"});

    for (std::size_t length = 0; length < full.Size(); ++length) {
        SCOPED_TRACE("cut at " + std::to_string(length));
        WriteSettings(full.Bytes().substr(0, length));
        ConfigManager config(file_.string());
        EXPECT_EQ(config.LoadConfig(), length >= countEnd);
        if (length >= globalEnd) {
            ASSERT_NE(config.GetGlobalRecord(), nullptr);
            EXPECT_EQ(*config.GetGlobalRecord(), MakeGlobal());
        }
        EXPECT_EQ(config.CountRecords(), length <= countEnd ? 0 : (length <= firstEnd ? 1 : 2));
        if (length >= firstEnd) {
            EXPECT_EQ(*config.GetRecord(0L), first);
        }
    }

    WriteSettings(ByteWriter().Int(3).Int(0).Int(1).Str("Home").Int(8).Raw("ftp").Bytes());
    ConfigManager config(file_.string());
    ASSERT_TRUE(config.LoadConfig());
    EXPECT_EQ(*config.GetRecord(0L), OnlyNamed("Home")) << "host announced 8, 3 came";
    ByteWriter mirrors;
    StartRecord(mirrors.Int(3).Int(0).Int(1)).Int(1000000).Str("m1").Int(9).Raw("m2");
    WriteSettings(mirrors.Bytes());
    ASSERT_TRUE(config.LoadConfig());
    EXPECT_EQ(config.GetRecord(0L)->mirrors, (Mirrors{"m1", std::nullopt}));
    EXPECT_TRUE(corruptionTexts_.empty());
}

TEST_F(ConfigManagerFileTest, OutOfRangeStringLengthStopsTheLoadAndKeepsTheFile) {
    ByteWriter inGlobal;
    inGlobal.Int(3).Int(1).Str("Swis721 BT").Int(101).Raw(std::string(101, 'x'));
    ByteWriter inName;
    WriteRecord(inName.Int(3).Int(0).Int(2), "Home", "h", 0, {}).Int(-1);
    ByteWriter inMirror;
    StartRecord(inMirror.Int(3).Int(0).Int(1)).Int(2).Str("m1").Int(INT_MIN);
    ByteWriter twice;  // a second bad length after the first is never looked at
    twice.Int(3).Int(0).Int(1).Int(200).Raw(std::string(200, 'x')).Int(-7);
    const std::string kCorrupted =
        "Your settings file looks corrupted\nRemove Tarvik_settings_data and restart Tarvik.";
    for (const std::string& bytes :
         {inGlobal.Bytes(), inName.Bytes(), inMirror.Bytes(), twice.Bytes()}) {
        corruptionTexts_.clear();
        WriteSettings(bytes);
        ConfigManager config(file_.string());
        EXPECT_FALSE(config.LoadConfig());
        EXPECT_EQ(corruptionTexts_, std::vector<std::string>{kCorrupted});
        EXPECT_EQ(config.CountRecords(), 0);
        EXPECT_EQ(config.GetGlobalRecord(), nullptr);
        // The damaged file is left for the user to remove, never overwritten.
        EXPECT_FALSE(config.SaveConfig());
        EXPECT_EQ(ReadSettings(), bytes);

        WriteSettings(ByteWriter().Int(3).Int(0).Int(0).Bytes());
        EXPECT_TRUE(config.LoadConfig()) << "a repaired file loads again";
        EXPECT_TRUE(config.SaveConfig());
    }
}

TEST(ConfigManagerListTest, RecordsAreFoundByExactNameAndReplacedInTheirPlace) {
    ConfigManager config("");
    const auto Add = [&](const std::string& name, int position = -1) {
        config.AddRecord(std::make_unique<Record_tag>(MakeRecord(name, name + ".org", 0, {})),
                         position);
    };
    for (const char* name : {"A", "B", "C"}) {
        Add(name);
    }
    ASSERT_NE(config.GetRecord("B"), nullptr);
    EXPECT_EQ(config.GetRecord("B")->host, "B.org");
    EXPECT_EQ(config.GetRecord("b"), nullptr);
    EXPECT_EQ(config.GetRecord("B "), nullptr);
    EXPECT_EQ(config.GetRecord(2L)->name, "C");
    EXPECT_EQ(config.GetRecord(-1L), nullptr);
    EXPECT_EQ(config.GetRecord(3L), nullptr);

    EXPECT_EQ(config.RemoveFromList("c"), -1);
    Record_tag* b = config.GetRecord("B");
    std::unique_ptr<Record_tag> taken;
    EXPECT_EQ(config.RemoveFromList("B", &taken), 1);
    EXPECT_EQ(taken.get(), b) << "handed over, not copied";
    Add("D", 1);
    Add("G", 99);  // past the end: appended
    Add("H", 4);   // exactly the end
    config.AddRecord(nullptr, 0);
    EXPECT_EQ(config.GetListName(), (std::vector<std::string>{"A", "D", "C", "G", "H"}));
}

// Restores an environment variable at the end of the scope.
class EnvironmentGuard {
public:
    explicit EnvironmentGuard(const char* name) : name_(name) {
        if (const char* value = std::getenv(name)) {
            saved_ = value;
        }
    }
    ~EnvironmentGuard() { saved_ ? ::setenv(name_, saved_->c_str(), 1) : ::unsetenv(name_); }

private:
    const char* name_;
    std::optional<std::string> saved_;
};

TEST(ConfigManagerPathTest, FollowsXdgConfigHome) {
    EnvironmentGuard xdg("XDG_CONFIG_HOME");
    EnvironmentGuard home("HOME");
    ::setenv("HOME", "/home/someone", 1);
    const std::string fallback = "/home/someone/.config/Marlowen/Tarvik/Tarvik_settings_data";
    struct Case {
        const char* xdg;  // null: unset
        std::string expected;
    };
    const Case cases[] = {
        {"/x/cfg", "/x/cfg/Marlowen/Tarvik/Tarvik_settings_data"},
        {nullptr, fallback},
        {"", fallback},
        {"relative/cfg", fallback},  // only absolute paths count
    };
    for (const auto& c : cases) {
        c.xdg ? ::setenv("XDG_CONFIG_HOME", c.xdg, 1) : ::unsetenv("XDG_CONFIG_HOME");
        EXPECT_EQ(ConfigManager::SettingsFile(), c.expected) << (c.xdg ? c.xdg : "(unset)");
    }
}

TEST(ConfigManagerPathTest, CreatesThePrivateFolder) {
    EnvironmentGuard xdg("XDG_CONFIG_HOME");
    TempDir dir("tarvik-xdg");
    ::setenv("XDG_CONFIG_HOME", (dir / "cfg").c_str(), 1);
    ASSERT_TRUE(ConfigManager::CreateSettingsFolder());
    EXPECT_TRUE(std::filesystem::is_directory(dir / "cfg" / "Marlowen" / "Tarvik"));
    EXPECT_EQ(ModeOf(dir / "cfg" / "Marlowen" / "Tarvik") & 0077, 0u);
    EXPECT_TRUE(ConfigManager::CreateSettingsFolder()) << "already there";

    TempDir::WriteFile(dir / "blocked", "a file, not a folder");
    ::setenv("XDG_CONFIG_HOME", (dir / "blocked").c_str(), 1);
    EXPECT_FALSE(ConfigManager::CreateSettingsFolder());
}

}  // namespace
