#include "ConfigManager.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <climits>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ByteWriter.h"
#include "TempDir.h"

namespace {

const std::string kCorrupted =
    "Your settings file looks corrupted\nRemove Tarvik_settings_data and restart Tarvik.";

std::unique_ptr<Record_tag> MakeRecord(const std::string& name, const std::string& host,
                                       std::uint8_t passive,
                                       std::vector<std::optional<std::string>> mirrors) {
    auto record = std::make_unique<Record_tag>();
    record->name = name;
    record->host = host;
    record->login = "me";
    record->password = "secret";
    record->reserved = 0;
    record->passive = passive;
    record->port = "21";
    record->localDirectory = "/tmp";
    record->hostDirectory = "/pub";
    record->comments = "hi";
    record->mirrors = std::move(mirrors);
    return record;
}

std::unique_ptr<GRecord_tag> MakeGlobal() {
    auto global = std::make_unique<GRecord_tag>();
    global->fontFamily = "Swis721 BT";
    global->fontStyle = "Roman";
    global->fontSize = 11;
    global->spareString = "";
    global->useFirewall = 1;
    global->firewallHost = "fw";
    global->firewallUser = "fu";
    global->firewallPassword = "fp";
    global->firewallPort = "2121";
    global->firewallCommand = "USER %u@%h:%o";
    return global;
}

// The global record of MakeGlobal, by hand; the version decides whether trailerByte follows.
void WriteGlobal(ByteWriter& out, bool withTrailer) {
    out.Str("Swis721 BT").Str("Roman").Byte(11).Byte(0).Str("").Byte(1);
    out.Str("fw").Str("fu").Str("fp").Str("2121").Str("USER %u@%h:%o");
    if (withTrailer) {
        out.Byte(0);
    }
}

// The record MakeRecord(name, host, passive, mirrors), by hand.
void WriteRecord(ByteWriter& out, const std::string& name, const std::string& host,
                 std::uint8_t passive, const std::vector<std::string>& mirrors) {
    out.Str(name).Str(host).Str("me").Str("secret").Byte(0).Byte(passive);
    out.Str("21").Str("/tmp").Str("/pub").Str("hi").Int(static_cast<std::int32_t>(mirrors.size()));
    for (const auto& mirror : mirrors) {
        out.Str(mirror);
    }
}

mode_t ModeOf(const std::filesystem::path& file) {
    struct stat status {};
    EXPECT_EQ(::stat(file.c_str(), &status), 0);
    return status.st_mode & 07777;
}

class ConfigManagerFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        ConfigManager::SetCorruptionHandler(
            [this](const std::string& text) { corruptionTexts_.push_back(text); });
    }
    void TearDown() override { ConfigManager::SetCorruptionHandler(nullptr); }

    std::filesystem::path WriteSettings(const std::string& bytes) const {
        return TempDir::WriteFile(file_, bytes);
    }
    std::string ReadSettings() const { return TempDir::Read(file_); }

    TempDir dir_{"tarvik-config"};
    std::filesystem::path file_ = dir_ / "Tarvik_settings_data";
    std::vector<std::string> corruptionTexts_;
};

// ---- Writing ----

TEST_F(ConfigManagerFileTest, WrittenFileMatchesHandBuiltBytes) {
    ConfigManager config(file_.string());
    config.SetGlobalRecord(MakeGlobal());
    config.AddRecord(MakeRecord("Home", "ftp.home", 1, {"m1", "m22"}), -1);
    config.AddRecord(MakeRecord("Work", "", 0, {}), -1);
    ASSERT_TRUE(config.SaveConfig());

    ByteWriter expected;
    expected.Int(3).Int(1);
    WriteGlobal(expected, true);
    expected.Int(2);
    WriteRecord(expected, "Home", "ftp.home", 1, {"m1", "m22"});
    WriteRecord(expected, "Work", "", 0, {});
    EXPECT_EQ(ReadSettings(), expected.Bytes());
}

TEST_F(ConfigManagerFileTest, EmptyManagerWritesVersionFlagAndCount) {
    ConfigManager config(file_.string());
    ASSERT_TRUE(config.SaveConfig());
    EXPECT_EQ(ReadSettings(), ByteWriter().Int(3).Int(0).Int(0).Bytes());
}

TEST_F(ConfigManagerFileTest, CountsAreLittleEndian) {
    ConfigManager config(file_.string());
    for (int i = 0; i < 300; ++i) {
        config.AddRecord(MakeRecord("r" + std::to_string(i), "h", 0, {}), -1);
    }
    ASSERT_TRUE(config.SaveConfig());
    EXPECT_EQ(ReadSettings().substr(0, 12), ByteWriter().Int(3).Int(0).Int(300).Bytes());
    EXPECT_EQ(ReadSettings().substr(8, 4), std::string("\x2C\x01\x00\x00", 4));
}

TEST_F(ConfigManagerFileTest, SaveThenLoadReproducesEverything) {
    std::vector<std::optional<std::string>> manyMirrors;
    for (int i = 0; i < 12; ++i) {
        manyMirrors.push_back("mirror" + std::to_string(i) + ".example.org");
    }
    std::vector<std::unique_ptr<Record_tag>> originals;
    originals.push_back(MakeRecord("Home", "ftp.home", 1, {"m1"}));
    originals.push_back(MakeRecord("Work", "", 0, manyMirrors));
    originals.push_back(MakeRecord(std::string(100, 'n'), "caf\xC3\xA9", 1, {"", "x"}));
    originals[1]->reserved = 255;
    originals[1]->comments = std::string(100, 'c');
    originals[2]->login = "";
    originals[2]->password = "p\xFFw";
    auto global = MakeGlobal();
    global->fontSize = 255;
    global->spareByte = 7;
    global->trailerByte = 9;
    const GRecord_tag expectedGlobal = *global;

    ConfigManager writer(file_.string());
    writer.SetGlobalRecord(std::move(global));
    for (const auto& original : originals) {
        writer.AddRecord(std::make_unique<Record_tag>(*original), -1);
    }
    ASSERT_TRUE(writer.SaveConfig());

    ConfigManager reader(file_.string());
    ASSERT_TRUE(reader.LoadConfig());
    ASSERT_EQ(reader.CountRecords(), 3);
    for (long i = 0; i < 3; ++i) {
        ASSERT_NE(reader.GetRecord(i), nullptr);
        EXPECT_EQ(*reader.GetRecord(i), *originals[i]) << "record " << i;
    }
    ASSERT_NE(reader.GetGlobalRecord(), nullptr);
    EXPECT_EQ(*reader.GetGlobalRecord(), expectedGlobal);
    EXPECT_TRUE(corruptionTexts_.empty());
}

// Over-long strings are cut on saving, at a character boundary, so that the file loads again.
TEST_F(ConfigManagerFileTest, OverlongStringsAreCutOnSaving) {
    struct Case {
        const char* what;
        std::string comments;
        std::string expected;
    };
    const std::string a99(99, 'a');
    const std::vector<Case> cases = {
        {"exactly 100", std::string(100, 'a'), std::string(100, 'a')},
        {"101", std::string(101, 'a'), std::string(100, 'a')},
        {"150", std::string(150, 'a'), std::string(100, 'a')},
        {"two-byte character across the limit", a99 + "\xC3\xA9", a99},
        {"three-byte character across the limit", std::string(98, 'a') + "\xE2\x82\xAC",
         std::string(98, 'a')},
        {"two-byte character ending at the limit", std::string(98, 'a') + "\xC3\xA9" + "b",
         std::string(98, 'a') + "\xC3\xA9"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ConfigManager writer(file_.string());
        auto record = MakeRecord("r", "h", 0, {c.comments});
        record->comments = c.comments;
        writer.AddRecord(std::move(record), -1);
        ASSERT_TRUE(writer.SaveConfig());

        ConfigManager reader(file_.string());
        ASSERT_TRUE(reader.LoadConfig());
        EXPECT_EQ(reader.GetRecord(0L)->comments, c.expected);
        ASSERT_EQ(reader.GetRecord(0L)->mirrors.size(), 1u);
        EXPECT_EQ(reader.GetRecord(0L)->mirrors[0], c.expected);
    }
    EXPECT_TRUE(corruptionTexts_.empty());
}

// A field a damaged file could not supply goes out as the empty string.
TEST_F(ConfigManagerFileTest, UnreadFieldsAreSavedEmpty) {
    ConfigManager config(file_.string());
    auto record = std::make_unique<Record_tag>();
    record->name = "only a name";
    config.AddRecord(std::move(record), -1);
    ASSERT_TRUE(config.SaveConfig());

    ByteWriter expected;
    expected.Int(3).Int(0).Int(1).Str("only a name").Str("").Str("").Str("").Byte(0).Byte(0);
    expected.Str("").Str("").Str("").Str("").Int(0);
    EXPECT_EQ(ReadSettings(), expected.Bytes());
}

// ---- Mode and safe replacement ----

TEST_F(ConfigManagerFileTest, FileIsReadableByItsOwnerOnly) {
    const mode_t savedMask = ::umask(0);  // a sloppy open(..., 0666) would show here
    {
        ConfigManager config(file_.string());
        EXPECT_FALSE(config.LoadConfig());  // missing: created empty
        EXPECT_TRUE(std::filesystem::exists(file_));
        EXPECT_EQ(std::filesystem::file_size(file_), 0u);
        EXPECT_EQ(ModeOf(file_), 0600u);
        ASSERT_TRUE(config.SaveConfig());
        EXPECT_EQ(ModeOf(file_), 0600u);
    }
    ::umask(savedMask);

    // An older file that others could read is replaced by a private one.
    WriteSettings("old");
    std::filesystem::permissions(file_, std::filesystem::perms(0644));
    ConfigManager config(file_.string());
    ASSERT_TRUE(config.SaveConfig());
    EXPECT_EQ(ModeOf(file_), 0600u);
}

class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &saved_);
        previousHandler_ = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = saved_;
        limit.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &saved_);
        std::signal(SIGXFSZ, previousHandler_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit saved_{};
    void (*previousHandler_)(int) = SIG_DFL;
};

std::vector<std::string> FolderEntries(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    return names;
}

// A full disk in the middle of a save: the old file stays whole and no new file is left over.
TEST_F(ConfigManagerFileTest, FailedWriteKeepsTheOldFile) {
    const std::string old = ByteWriter().Int(3).Int(0).Int(0).Bytes();
    WriteSettings(old);
    ConfigManager config(file_.string());
    config.SetGlobalRecord(MakeGlobal());
    for (int i = 0; i < 10; ++i) {
        config.AddRecord(MakeRecord("r" + std::to_string(i), "host", 0, {"m"}), -1);
    }
    {
        FileSizeLimit limit(64);
        EXPECT_FALSE(config.SaveConfig());
    }
    EXPECT_EQ(ReadSettings(), old);
    EXPECT_EQ(FolderEntries(dir_.Path()), std::vector<std::string>{"Tarvik_settings_data"});

    EXPECT_TRUE(config.SaveConfig());  // the same save succeeds once there is room
    EXPECT_NE(ReadSettings(), old);
    EXPECT_EQ(FolderEntries(dir_.Path()), std::vector<std::string>{"Tarvik_settings_data"});
}

TEST_F(ConfigManagerFileTest, SaveIntoMissingFolderFails) {
    const auto missing = dir_ / "missing" / "Tarvik_settings_data";
    ConfigManager config(missing.string());
    EXPECT_FALSE(config.SaveConfig());
    EXPECT_FALSE(std::filesystem::exists(missing.parent_path()));
}

TEST_F(ConfigManagerFileTest, WithoutPathNothingIsLoadedOrSaved) {
    ConfigManager config("");
    EXPECT_FALSE(config.IsLoaded());
    EXPECT_FALSE(config.Path().has_value());
    EXPECT_FALSE(config.LoadConfig());
    EXPECT_FALSE(config.SaveConfig());
    EXPECT_TRUE(ConfigManager(file_.string()).IsLoaded());
}

// ---- Loading hand-built files ----

struct LoadCase {
    const char* what;
    std::string bytes;
    bool loads;
    long records;
    bool global;
    bool oldVersion;
};

TEST_F(ConfigManagerFileTest, LoadsHandBuiltFiles) {
    ByteWriter v2;
    v2.Int(2).Int(1);
    WriteGlobal(v2, false);
    v2.Int(1);
    WriteRecord(v2, "Home", "ftp.home", 1, {"m1"});
    ByteWriter v4;
    v4.Int(4).Int(1);
    WriteGlobal(v4, true);
    v4.Int(0);
    ByteWriter otherFlag;
    otherFlag.Int(3).Int(2).Int(1);
    WriteRecord(otherFlag, "Home", "ftp.home", 1, {});
    ByteWriter longest;
    longest.Int(3).Int(0).Int(1);
    WriteRecord(longest, std::string(100, 'n'), "h", 0, {std::string(100, 'm')});
    ByteWriter bigCount;  // announces more records than the file holds
    bigCount.Int(3).Int(0).Int(INT_MAX);
    WriteRecord(bigCount, "Home", "ftp.home", 1, {});
    ByteWriter negativeCount;
    negativeCount.Int(3).Int(0).Int(-5);

    const std::vector<LoadCase> cases = {
        {"version 3, flag 0, count 0", ByteWriter().Int(3).Int(0).Int(0).Bytes(), true, 0, false,
         false},
        {"version 2 without trailerByte", v2.Bytes(), true, 1, true, true},
        {"version 4 reads trailerByte", v4.Bytes(), true, 0, true, true},
        {"flag other than 1 means no global record", otherFlag.Bytes(), true, 1, false, false},
        {"100-character strings", longest.Bytes(), true, 1, false, false},
        {"count beyond the end", bigCount.Bytes(), true, 1, false, false},
        {"negative count", negativeCount.Bytes(), true, 0, false, false},
        {"empty file", "", false, 0, false, false},
        {"version only", ByteWriter().Int(3).Bytes(), false, 0, false, false},
        {"no count", ByteWriter().Int(3).Int(0).Bytes(), false, 0, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        WriteSettings(c.bytes);
        ConfigManager config(file_.string());
        config.AddRecord(MakeRecord("stale", "h", 0, {}), -1);
        config.SetGlobalRecord(MakeGlobal());
        ::testing::internal::CaptureStdout();
        EXPECT_EQ(config.LoadConfig(), c.loads);
        const std::string printed = ::testing::internal::GetCapturedStdout();
        EXPECT_EQ(printed, c.oldVersion ? "Old settings version.\n" : "");
        EXPECT_EQ(config.CountRecords(), c.records);
        EXPECT_EQ(config.GetGlobalRecord() != nullptr, c.global);
        EXPECT_EQ(config.GetRecord("stale"), nullptr);
    }
    EXPECT_TRUE(corruptionTexts_.empty());
}

TEST_F(ConfigManagerFileTest, VersionTwoGlobalRecordGetsTrailerByteOne) {
    ByteWriter v2;
    v2.Int(2).Int(1);
    WriteGlobal(v2, false);
    v2.Int(1);
    WriteRecord(v2, "Home", "ftp.home", 1, {"m1", "m2"});
    WriteSettings(v2.Bytes());

    ConfigManager config(file_.string());
    ::testing::internal::CaptureStdout();
    ASSERT_TRUE(config.LoadConfig());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Old settings version.\n");
    auto expectedGlobal = MakeGlobal();
    expectedGlobal->trailerByte = 1;
    ASSERT_NE(config.GetGlobalRecord(), nullptr);
    EXPECT_EQ(*config.GetGlobalRecord(), *expectedGlobal);
    // The record right after the shorter global record is read in step.
    ASSERT_EQ(config.CountRecords(), 1);
    EXPECT_EQ(*config.GetRecord(0L), *MakeRecord("Home", "ftp.home", 1, {"m1", "m2"}));

    // Saved again, it becomes a version-3 file with the trailer byte.
    ASSERT_TRUE(config.SaveConfig());
    EXPECT_EQ(ReadSettings().substr(0, 4), ByteWriter().Int(3).Bytes());
}

TEST_F(ConfigManagerFileTest, EmptyFileLoadsNothingAndNextSaveIsValid) {
    WriteSettings("");
    ConfigManager config(file_.string());
    EXPECT_FALSE(config.LoadConfig());
    EXPECT_EQ(config.CountRecords(), 0);
    EXPECT_EQ(config.GetGlobalRecord(), nullptr);
    ASSERT_TRUE(config.SaveConfig());
    EXPECT_TRUE(config.LoadConfig());
}

// ---- Short files ----

TEST_F(ConfigManagerFileTest, ShortFileAtEveryLengthFailsOrKeepsWhatWasRead) {
    ByteWriter full;
    full.Int(3).Int(1);
    WriteGlobal(full, true);
    const std::size_t globalEnd = full.Size();
    full.Int(2);
    const std::size_t countEnd = full.Size();
    WriteRecord(full, "Home", "ftp.home", 1, {"m1", "m2"});
    const std::size_t firstEnd = full.Size();
    WriteRecord(full, "Work", "ftp.work", 0, {});
    const auto expectedGlobal = MakeGlobal();
    const auto first = MakeRecord("Home", "ftp.home", 1, {"m1", "m2"});

    for (std::size_t length = 0; length < full.Size(); ++length) {
        SCOPED_TRACE("cut at " + std::to_string(length));
        WriteSettings(full.Bytes().substr(0, length));
        ConfigManager config(file_.string());
        EXPECT_EQ(config.LoadConfig(), length >= countEnd);
        if (length >= globalEnd) {
            ASSERT_NE(config.GetGlobalRecord(), nullptr);
            EXPECT_EQ(*config.GetGlobalRecord(), *expectedGlobal);
        }
        const long expectedRecords = length < countEnd ? 0 : (length <= firstEnd ? 1 : 2);
        EXPECT_EQ(config.CountRecords(), expectedRecords - (length == countEnd ? 1 : 0));
        if (length >= firstEnd) {
            EXPECT_EQ(*config.GetRecord(0L), *first);
        }
    }
    EXPECT_TRUE(corruptionTexts_.empty());
}

TEST_F(ConfigManagerFileTest, StringShorterThanAnnouncedLeavesItsFieldEmpty) {
    ByteWriter bytes;
    bytes.Int(3).Int(0).Int(1).Str("Home").Int(8).Raw("ftp");  // host announced 8, 3 arrive
    WriteSettings(bytes.Bytes());
    ConfigManager config(file_.string());
    ASSERT_TRUE(config.LoadConfig());
    ASSERT_EQ(config.CountRecords(), 1);
    Record_tag expected;
    expected.name = "Home";
    EXPECT_EQ(*config.GetRecord(0L), expected);  // host and everything after it: nullopt

    ByteWriter global;
    global.Int(3).Int(1).Str("Swis721 BT").Int(5).Raw("Ro");
    WriteSettings(global.Bytes());
    EXPECT_FALSE(config.LoadConfig());  // no record count
    ASSERT_NE(config.GetGlobalRecord(), nullptr);
    EXPECT_EQ(config.GetGlobalRecord()->fontFamily, "Swis721 BT");
    EXPECT_EQ(config.GetGlobalRecord()->fontStyle, std::nullopt);
    EXPECT_EQ(config.GetGlobalRecord()->firewallCommand, std::nullopt);
}

TEST_F(ConfigManagerFileTest, MirrorCountBeyondTheEndKeepsTheMirrorsRead) {
    ByteWriter bytes;
    bytes.Int(3).Int(0).Int(1);
    bytes.Str("Home").Str("h").Str("u").Str("p").Byte(0).Byte(0);
    bytes.Str("21").Str("").Str("").Str("").Int(1000000).Str("m1").Int(9).Raw("m2");
    WriteSettings(bytes.Bytes());
    ConfigManager config(file_.string());
    ASSERT_TRUE(config.LoadConfig());
    ASSERT_EQ(config.CountRecords(), 1);
    const std::vector<std::optional<std::string>> expected = {"m1", std::nullopt};
    EXPECT_EQ(config.GetRecord(0L)->mirrors, expected);
}

// ---- Corrupted files ----

TEST_F(ConfigManagerFileTest, OutOfRangeStringLengthStopsTheLoad) {
    struct Case {
        const char* what;
        std::string bytes;
    };
    ByteWriter inGlobal;
    inGlobal.Int(3).Int(1).Str("Swis721 BT").Int(101).Raw(std::string(101, 'x'));
    ByteWriter inName;
    inName.Int(3).Int(0).Int(2);
    WriteRecord(inName, "Home", "h", 0, {});
    inName.Int(-1);
    ByteWriter inMirror;
    inMirror.Int(3).Int(0).Int(1).Str("Home").Str("h").Str("u").Str("p").Byte(0).Byte(0);
    inMirror.Str("21").Str("").Str("").Str("").Int(2).Str("m1").Int(INT_MIN);
    ByteWriter twice;  // a second bad length after the first is never looked at
    twice.Int(3).Int(0).Int(1).Int(200).Raw(std::string(200, 'x')).Int(-7);
    const std::vector<Case> cases = {
        {"101 in the global record", inGlobal.Bytes()},
        {"-1 as a record name", inName.Bytes()},
        {"INT_MIN as a mirror", inMirror.Bytes()},
        {"two bad lengths", twice.Bytes()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        corruptionTexts_.clear();
        WriteSettings(c.bytes);
        ConfigManager config(file_.string());
        EXPECT_FALSE(config.LoadConfig());
        EXPECT_EQ(corruptionTexts_, std::vector<std::string>{kCorrupted});
        EXPECT_TRUE(config.IsCorrupted());
        EXPECT_EQ(config.CountRecords(), 0);
        EXPECT_EQ(config.GetGlobalRecord(), nullptr);
        // The damaged file is left for the user to remove, never overwritten.
        EXPECT_FALSE(config.SaveConfig());
        EXPECT_EQ(ReadSettings(), c.bytes);
    }
}

TEST_F(ConfigManagerFileTest, RepairedFileLoadsAfterCorruption) {
    WriteSettings(ByteWriter().Int(3).Int(0).Int(1).Int(101).Bytes());
    ConfigManager config(file_.string());
    EXPECT_FALSE(config.LoadConfig());
    ASSERT_TRUE(config.IsCorrupted());
    WriteSettings(ByteWriter().Int(3).Int(0).Int(0).Bytes());
    EXPECT_TRUE(config.LoadConfig());
    EXPECT_FALSE(config.IsCorrupted());
    EXPECT_TRUE(config.SaveConfig());
}

TEST_F(ConfigManagerFileTest, CorruptionWithoutHandlerExitsWithZero) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    WriteSettings(ByteWriter().Int(3).Int(0).Int(1).Int(101).Bytes());
    const std::string path = file_.string();
    EXPECT_EXIT(
        {
            ConfigManager::SetCorruptionHandler(nullptr);
            ConfigManager config(path);
            config.LoadConfig();
        },
        ::testing::ExitedWithCode(0), "Your settings file looks corrupted");
}

}  // namespace
