// SPDX-License-Identifier: Apache-2.0
// The alert journal: its entries on every model, and how writers wait for each other.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>

#include <plexor/alert.h>

#include "tests/contract/appliance.h"
#include "tests/contract/call_text.h"
#include "tests/contract/files.h"
#include "tests/contract/text_argument.h"
#include "tests/contract/time_zone.h"

namespace plexor::tests
{
namespace
{

const std::string journal_path = "/tmp/iomail.txt";
const std::string start = "SOURCE:web 2026-01-02 05:04:05\nOutlet1 on"; // two hours east of Greenwich
const std::string four_outlets = "Power1=ON ;Power2=OFF ;Power3=OFF ;Power4=ON ;";

// The outlets 1, 4, 6 and 8 are on.
constexpr std::array on{true, false, false, true, false, true, false, true};

class Journal : public Appliance
{
  protected:
    Journal()
    {
        std::filesystem::remove_all(journal_path);
        at_call("nvram_kget_int IOMailWriting 0", [this] {
            if (looks_left_ && (*looks_left_)-- == 0)
                set("IOMailWriting", "0");
        });
    }
    ~Journal() override { std::filesystem::remove_all(journal_path); }

    // An appliance of this model whose sensors and outlets are all telling.
    void use(int index)
    {
        use_model(index, false);
        set("SPI_buf_1", "56");
        set_lines(0, {22, 23, 24, 25, 26, 29, 27, 28});
        set("sIICAmp_PX", "87;88;0;10;200;1;0;255");
        set("sAmp_PX", "7;3");
        set("sIICTemp", "128");
        set("sTEmp_PX", "45;6;23;4");
        set("sIICVolt", "150");
    }
    void set_lines(int group, const std::array<int, 8> &lines)
    {
        for (std::size_t outlet = 0; outlet < lines.size(); ++outlet)
            board().set_input(32 * group + lines[outlet], !on[outlet]);
    }
    static void write(Text description = "Outlet1 on", Text source = "web")
    {
        PreSendIOMail(chars_of(description), chars_of(source));
    }
    // The entry that is written into a new journal, behind the time.
    static std::string entry(const Text &description = "Outlet1 on", const Text &source = "web")
    {
        std::filesystem::remove_all(journal_path);
        write(description, source);
        return text_of(journal_path).substr(4);
    }
    static std::string stamp(std::uint32_t seconds = 1'767'323'045)
    {
        std::string bytes(4, '\0');
        std::memcpy(bytes.data(), &seconds, 4);
        return bytes;
    }
    // Nothing was written, and others may write again.
    void expect_passed_over()
    {
        EXPECT_EQ(calls("nvram_bufset"),
                  (Calls{"nvram_bufset 0 IOMailWriting=1", "nvram_bufset 0 IOMailWriting=0"}));
        EXPECT_EQ(get("IOMailWriting"), "0");
    }
    // How often a writer waits when another one ends after so many looks at the flag.
    std::size_t waits(int looks)
    {
        set("IOMailWriting", "1");
        forget_calls();
        looks_left_ = looks;
        write();
        const Calls pauses = calls("nanosleep");
        EXPECT_EQ(pauses, Calls(pauses.size(), "nanosleep 0.050000000"));
        return pauses.size();
    }

  private:
    const TimeZone zone_{"XYZ-2"};
    std::optional<int> looks_left_{};
};

// --- the entries ---

std::string plain(const std::string &outlets)
{
    return start + "\r\n\t[" + outlets + "]\n\n";
}

std::string metered(const std::string &temperature)
{
    return start +
           "\r\n\t[Power1=ON, 4.83A;Power2=OFF, 4.85A;Power3=OFF, 0.00A;Power4=ON, 0.56A;Power5=OFF, 11.02A;"
           "Power6=ON, 0.06A;Power7=OFF, 0.00A;Power8=ON, 14.05A;Temperature=" +
           temperature + ";Voltage=222.00V DI = OPEN ]\n\n";
}

std::string sensed(const std::string &current)
{
    return start + "[" + four_outlets + "Temperature=23.4℃(74.1℉)" + current + "]\n\n";
}

TEST_F(Journal, TellsFourOutletsOnModels1And4)
{
    for (const int model : {1, 4}) {
        use(model);
        EXPECT_EQ(entry(), plain(four_outlets)) << model;
    }
}

TEST_F(Journal, TellsEightOutletsOnModel10)
{
    use(10);
    EXPECT_EQ(entry(), plain(four_outlets + "Power5=OFF ;Power6=ON ;Power7=OFF ;Power8=ON ;"));
}

TEST_F(Journal, TellsCurrentsTemperatureVoltageAndInputOnModels2And11)
{
    for (const int model : {2, 11}) {
        use(model);
        EXPECT_EQ(entry(), metered("25.0℃(77.0℉)")) << model;
    }
}

TEST_F(Journal, TellsZeroDegreesOnModel3WhichHasNoThermometer)
{
    use(3);
    EXPECT_EQ(entry(), metered("0.0℃(32.0℉)"));
}

TEST_F(Journal, TellsFourOutletsAndTheExternalTemperatureOnModels5To7)
{
    for (const int model : {5, 6, 7}) {
        use(model);
        EXPECT_EQ(entry(), sensed("")) << model;
    }
}

TEST_F(Journal, TellsTheCurrentOfTheFirstOutletOnModel8AlsoButNotOn9)
{
    for (const int model : {8, 9}) {
        use(model);
        set_lines(1, {40 - 32, 39 - 32, 38 - 32, 37 - 32, 26, 29, 27, 28});
        EXPECT_EQ(entry(), sensed(model == 8 ? "Amp= 7.3A;" : "")) << model;
    }
}

TEST_F(Journal, TellsNothingOnModelsThatAreNone)
{
    for (const char *model : {"0", "12", "-1", "x", "2147483647"}) {
        use(2);
        set("IO_number", model);
        EXPECT_EQ(entry(), "]\n\n") << model;
    }
    unset("IO_number");
    EXPECT_EQ(entry(), "]\n\n");
}

TEST_F(Journal, TellsWhetherTheInputIsLooped)
{
    use(2);
    for (const char *looped : {"1", "3", "255"}) {
        set("sIICDi", looped);
        EXPECT_TRUE(entry().ends_with("V DI = Loopback ]\n\n")) << looped;
    }
    set("sIICDi", "2");
    EXPECT_TRUE(entry().ends_with("V DI = OPEN ]\n\n"));
}

TEST_F(Journal, TellsTemperaturesBelowZero)
{
    use(2);
    set("sIICTemp", "0");
    EXPECT_NE(entry().find("Temperature=-50.0℃(-58.0℉);"), std::string::npos);
    use(5);
    set("sTEmp_PX", "0;0;-18;0");
    EXPECT_NE(entry().find("Temperature=-18.0℃(-0.4℉)]"), std::string::npos);
}

TEST_F(Journal, SaysNotAvailableForNoSource)
{
    use(1);
    EXPECT_TRUE(entry("m", Text()).starts_with("SOURCE:N/A 2026-01-02 05:04:05\nm\r\n\t["));
    EXPECT_TRUE(entry("m", "").starts_with("SOURCE: 2026-01-02 05:04:05\nm\r\n\t["));
}

TEST_F(Journal, CutsALongSourceSoThatTheDateStaysWithin299Bytes)
{
    use(1);
    for (const std::size_t size : {270U, 271U, 272U, 1000U}) {
        const std::string kept(std::min<std::size_t>(size, 271), 's');
        EXPECT_TRUE(
            entry("m", std::string(size, 's')).starts_with("SOURCE:" + kept + " 2026-01-02 05:04:05\nm\r"))
            << size;
    }
    EXPECT_EQ(entry("m", std::string(1000, 's')).find('\n'), 298U);
}

TEST_F(Journal, WritesADescriptionOfAnyLengthAsItIs)
{
    use(1);
    for (const std::string &description : {std::string(), std::string(5000, 'd'), std::string("%n%s\r\n]")})
        EXPECT_TRUE(entry(description, "%n%s")
                        .starts_with("SOURCE:%n%s 2026-01-02 05:04:05\n" + description + "\r\n\t[Power1"));
}

// --- the file ---

TEST_F(Journal, BeginsWithTheTimeOfItsLatestEntry)
{
    use(1);
    write();
    EXPECT_EQ(text_of(journal_path).substr(0, 4), stamp());
    set_calendar(1'800'000'000);
    write();
    EXPECT_EQ(text_of(journal_path).substr(0, 4), stamp(1'800'000'000));
}

TEST_F(Journal, HasLaterEntriesBehindEarlierOnes)
{
    use(1);
    const std::string first = entry("first");
    write("second");
    EXPECT_EQ(text_of(journal_path).substr(4, first.size()), first);
    EXPECT_TRUE(text_of(journal_path)
                    .substr(4 + first.size())
                    .starts_with("SOURCE:web 2026-01-02 05:04:05\nsecond\r"));
}

TEST_F(Journal, ThatIsThereKeepsAllButItsFirstFourBytes)
{
    set("IO_number", "0");
    write_file(journal_path, "????old\xFF\n");
    write();
    EXPECT_EQ(text_of(journal_path), stamp() + "old\xFF\n]\n\n");
}

TEST_F(Journal, ThatIsThereButEmptyOrShortGetsItsTime)
{
    set("IO_number", "0");
    for (const char *text : {"", "??", "????"}) {
        write_file(journal_path, text);
        write();
        EXPECT_EQ(text_of(journal_path), stamp() + "]\n\n");
    }
}

TEST_F(Journal, ThatIsNotThereIsMade)
{
    set("IO_number", "0");
    write();
    EXPECT_EQ(text_of(journal_path), stamp() + "]\n\n");
}

TEST_F(Journal, ThatCannotBeOpenedKeepsItsEntries)
{
    write_file(journal_path, "timeSOURCE:web before]\n\n");
    fail_call("open", EMFILE);
    write();
    EXPECT_EQ(text_of(journal_path), "timeSOURCE:web before]\n\n");
    EXPECT_EQ(get("IOMailWriting"), "0");
}

TEST_F(Journal, ThatAppearsWhileItIsMadeKeepsItsEntries)
{
    write_file(journal_path, "timeother]\n\n");
    fail_call("open", ENOENT);
    write();
    EXPECT_EQ(text_of(journal_path).substr(4, 8 + start.size()), "other]\n\n" + start);
}

TEST_F(Journal, OfAnotherUserIsAppendedTo)
{
    write_file(journal_path, "time");
    make_foreign(journal_path);
    write();
    EXPECT_EQ(text_of(journal_path).substr(4, start.size()), start);
}

TEST_F(Journal, KeepsWhatAnotherWritesMeanwhile)
{
    use(2);
    at_call("nvram_kget_str sIICAmp_PX", [] { std::ofstream(journal_path, std::ios::app) << "other]\n\n"; });
    write();
    const std::string journal = text_of(journal_path);
    EXPECT_EQ(journal.substr(4, 8), "other]\n\n");
    EXPECT_EQ(journal.substr(12, start.size()), start);
}

TEST_F(Journal, IsClosedAfterEachEntry)
{
    write();
    write();
    EXPECT_EQ(descriptors_of(journal_path), std::vector<int>{});
}

TEST_F(Journal, IsNotWrittenThroughALink)
{
    write_file("/tmp/plexor-victim", "before");
    std::filesystem::create_symlink("/tmp/plexor-victim", journal_path);
    write();
    EXPECT_EQ(text_of("/tmp/plexor-victim"), "before");
    expect_passed_over();
}

TEST_F(Journal, IsNotMadeWhereALinkLeads)
{
    std::filesystem::create_symlink("/tmp/plexor-nowhere", journal_path);
    write();
    EXPECT_FALSE(exists("/tmp/plexor-nowhere"));
    expect_passed_over();
}

TEST_F(Journal, ThatIsAFolderIsPassedOver)
{
    std::filesystem::create_directory(journal_path);
    write();
    expect_passed_over();
}

TEST_F(Journal, ThatIsAPipeIsPassedOverWhetherSomebodyListensOrNot)
{
    make_pipe(journal_path);
    write();
    expect_passed_over();
    forget_calls();
    const int listener = open(journal_path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    write();
    expect_passed_over();
    char byte = 0;
    EXPECT_EQ(read(listener, &byte, 1), 0);
    close(listener);
}

// --- the order, and other writers ---

TEST_F(Journal, IsWrittenInOrder)
{
    use(2);
    write();
    EXPECT_EQ(calls(), (Calls{"nvram_kget_int IO_number 0", "nvram_kget_str SPI_buf_1 32",
                              "nvram_kget_int IO_number 0", "nvram_kget_int IOMailWriting 0",
                              "nvram_bufset 0 IOMailWriting=1", "time", "nvram_kget_int IO_number 0",
                              "nvram_kget_str sIICAmp_PX 512", "nvram_kget_str correction_ampL_Px 512",
                              "nvram_kget_str correction_ampH_Px 512", "nvram_kget_int IO_number 0",
                              "nvram_kget_str correction_temp 512", "nvram_kget_int sIICTemp 0",
                              "nvram_kget_int sIICVolt 0", "nvram_kget_str correction_vlot 512",
                              "nvram_kget_int sIICDi 0", "nvram_bufset 0 IOMailWriting=0"}));
}

TEST_F(Journal, IsMarkedForOthersWhileItIsWritten)
{
    use(2);
    std::string during;
    std::string complete;
    at_call("time", [&] { during = get("IOMailWriting"); });
    at_call("nvram_bufset 0 IOMailWriting=0", [&] { complete = text_of(journal_path); });
    write();
    EXPECT_EQ(during, "1");
    EXPECT_TRUE(complete.ends_with("]\n\n"));
    EXPECT_EQ(get("IOMailWriting"), "0");
}

TEST_F(Journal, MarksTheWritingWithoutCommittingIt)
{
    write();
    EXPECT_EQ(calls("nvram_commit"), Calls{});
    EXPECT_FALSE(flash().contains("IOMailWriting"));
}

TEST_F(Journal, IsNotWaitedForWhenNobodyWrites)
{
    for (const char *nobody : {"0", "", "x"}) {
        set("IOMailWriting", nobody);
        forget_calls();
        write();
        EXPECT_EQ(calls("nanosleep"), Calls{}) << nobody;
        EXPECT_EQ(calls("nvram_kget_int IOMailWriting"), Calls{"nvram_kget_int IOMailWriting 0"});
    }
}

TEST_F(Journal, IsWaitedForByFiftyMillisecondsAtATime)
{
    for (const int looks : {1, 2, 9})
        EXPECT_EQ(waits(looks), static_cast<std::size_t>(looks));
}

TEST_F(Journal, IsWaitedForTenTimesAtTheMost)
{
    EXPECT_EQ(waits(1000), 10U);
    EXPECT_EQ(calls("nvram_kget_int IOMailWriting").size(), 10U);
    expect_passed_over();
    EXPECT_NE(text_of(journal_path).find("\nOutlet1 on"), std::string::npos);
}

TEST_F(Journal, IsWaitedForWhateverNumberMarksIt)
{
    for (const char *writing : {"2", "-1"}) {
        set("IOMailWriting", writing);
        forget_calls();
        write();
        EXPECT_EQ(calls("nanosleep").size(), 10U) << writing;
        expect_passed_over();
    }
}

TEST_F(Journal, HasTheTimeAfterTheWait)
{
    set("IO_number", "0");
    set("IOMailWriting", "1");
    advance(600'000'000);
    write();
    EXPECT_EQ(text_of(journal_path).substr(0, 4), stamp(1'767'323'046));
}

TEST_F(Journal, OfNoDescriptionIsReadForButNotWritten)
{
    use(2);
    set("IOMailWriting", "1");
    write(Text());
    EXPECT_EQ(calls(), (Calls{"nvram_kget_int IO_number 0", "nvram_kget_str SPI_buf_1 32",
                              "nvram_kget_int IO_number 0"}));
    EXPECT_EQ(get("IOMailWriting"), "1");
    EXPECT_FALSE(exists(journal_path));
}

} // namespace
} // namespace plexor::tests
