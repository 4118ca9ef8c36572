// SPDX-License-Identifier: Apache-2.0
// The datagram that tells the network of an off delay, byte for byte.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include <plexor/datagram.h>
#include <plexor/md5.h>

#include "tests/contract/appliance.h"
#include "tests/contract/call_text.h"
#include "tests/contract/md5_reference.h"

namespace plexor::tests
{
namespace
{

constexpr unsigned usual_time = 1'767'323'045;
const std::string eth2_address("\xFE\xDC\xBA\x98\x76\x54", 6);
const std::string none_as_address(4, '\xFF');

Calls ask_network(const std::string &request)
{
    return {"socket INET DGRAM 0", "ioctl socket " + request, "close socket"};
}

class OffDelayDatagram : public Appliance
{
  protected:
    OffDelayDatagram()
    {
        add_interface("br0").address("192.168.0.1").hwaddr("00:00:00:00:00:01");
        add_interface("eth2").hwaddr("FE:DC:BA:98:76:54");
        add_interface("apcli0").address("10.1.2.3").hwaddr("00:00:00:00:00:02");
        set("web_port", "80");
        set("Login", "admin");
        set("Password", "pw");
        set("SPI_buf_1", "fb"); // outlet 3 is on
    }

    // The one datagram sent for an outlet.
    std::string sent_for(unsigned outlet)
    {
        forget_calls();
        complaints_ = standard_error_of([&] { SendOFFDelayUDP(outlet); });
        if (datagrams().size() != 1) {
            ADD_FAILURE() << datagrams().size() << " datagrams were sent";
            return std::string(66, '?');
        }
        EXPECT_EQ(datagrams()[0].to, "255.255.255.255:9258");
        const auto &bytes = datagrams()[0].bytes;
        EXPECT_EQ(bytes.size(), 66U);
        return {bytes.begin(), bytes.end()};
    }
    std::string sent() { return sent_for(3); }
    std::string part(std::size_t offset, std::size_t size) { return sent().substr(offset, size); }
    std::string port() { return part(20, 2); }
    std::string nonce() { return part(24, 9); }
    unsigned mask() { return static_cast<unsigned char>(part(22, 1)[0]); }

    // Of the datagram sent last, or of one.
    const std::string &complaints() const { return complaints_; }
    static std::string digest_in(const std::string &datagram) { return datagram.substr(33, 16); }
    static std::string signed_nonce_in(const std::string &datagram) { return datagram.substr(24, 8); }

    // The digest's time and random number make this nonce.
    void expect_next_nonce(unsigned nonce)
    {
        std::srand(7);
        const auto random = static_cast<unsigned>(std::rand());
        set_calendar(std::int64_t{nonce - random});
        std::srand(7);
    }
    void expect_signed(const std::string &login_and_password)
    {
        const std::string datagram = sent();
        EXPECT_EQ(digest_in(datagram), md5(login_and_password + signed_nonce_in(datagram)));
    }
    // Lines of the relays, of which a low one means an outlet that is on.
    void expect_mask_of_lines(int model, const std::array<int, 8> &lines)
    {
        use_model(model, false);
        for (int line = 0; line < 96; ++line)
            board().set_input(line, true);
        EXPECT_EQ(mask(), 0U) << model;
        for (std::size_t outlet = 0; outlet < 8; ++outlet) {
            board().set_input(lines[outlet], false);
            EXPECT_EQ(mask(), 1U << outlet) << model;
            board().set_input(lines[outlet], true);
        }
    }

  private:
    std::string complaints_{};
};

// --- all of it ---

TEST_F(OffDelayDatagram, HasItsFieldsInOrder)
{
    expect_next_nonce(0xABCDEF09);
    EXPECT_EQ(sent(), std::string("PowerOFFDelay10\0", 16) + std::string("\xC0\xA8\x00\x01", 4) +
                          std::string("\x00\x50", 2) + "\x04" + "\xFB" + std::string("ABCDEF09\0", 9) +
                          md5("adminpwABCDEF09") + eth2_address + eth2_address + "\x0A\x01\x02\x03" +
                          std::string(1, '\0'));
    EXPECT_EQ(complaints(), "");
}

TEST_F(OffDelayDatagram, IsMadeInAFixedOrderAndSentOnce)
{
    SendOFFDelayUDP(3);
    Calls expected{"socket INET DGRAM 0", "setsockopt BROADCAST 1", "nvram_kget_int web_port 0"};
    for (const char *request : {"SIOCGIFHWADDR eth2", "SIOCGIFADDR br0", "SIOCGIFADDR apcli0"})
        std::ranges::copy(ask_network(request), std::back_inserter(expected));
    std::ranges::copy(Calls{"time", "nvram_kget_str Login 64", "nvram_kget_str Password 64",
                            "nvram_kget_int IO_number 0", "nvram_kget_str SPI_buf_1 32",
                            "sendto 255.255.255.255:9258 66 bytes flags 0", "close socket"},
                      std::back_inserter(expected));
    EXPECT_EQ(calls(), expected);
    EXPECT_EQ(debug_print(), "");
}

// --- outlets ---

TEST_F(OffDelayDatagram, ClearsTheOutletAloneInTheMaskOfThoseThatStay)
{
    const std::string masks("\xFE\xFD\xFB\xF7\xEF\xDF\xBF\x7F");
    for (unsigned outlet = 1; outlet <= 8; ++outlet)
        EXPECT_EQ(sent_for(outlet)[23], masks[outlet - 1]) << outlet;
}

TEST_F(OffDelayDatagram, TellsOfTheSameOutletsOnWhicheverItIsFor)
{
    for (unsigned outlet = 1; outlet <= 8; ++outlet)
        EXPECT_EQ(sent_for(outlet)[22], '\x04') << outlet;
}

TEST_F(OffDelayDatagram, TellsWhichOutletsAreOnByTheOffMaskOfEightOutletModels)
{
    for (const int model : {2, 3, 11}) {
        use_model(model, false);
        for (unsigned off_mask = 0; off_mask < 256; ++off_mask) {
            set("SPI_buf_1", print("%x", off_mask));
            ASSERT_EQ(mask(), 0xFF - off_mask) << model;
        }
    }
}

TEST_F(OffDelayDatagram, TellsWhichOutletsAreOnByTheLinesOfOtherModels)
{
    for (const int model : {0, 1, 4, 5, 6, 7, 10})
        expect_mask_of_lines(model, {22, 23, 24, 25, 26, 29, 27, 28});
    for (const int model : {8, 9})
        expect_mask_of_lines(model, {40, 39, 38, 37, 58, 61, 59, 60});
}

TEST_F(OffDelayDatagram, IsNotSentForAnOutletThatIsNone)
{
    for (const unsigned outlet : {0U, 9U, 255U, 256U, 257U, 0x80000001U, UINT_MAX})
        SendOFFDelayUDP(outlet);
    EXPECT_EQ(calls(), Calls{});
}

// --- the port ---

TEST_F(OffDelayDatagram, HasTheHighByteOfThePortFirst)
{
    const std::vector<std::pair<std::string, std::string>> ports{{"0", std::string(2, '\0')},
                                                                 {"80", std::string("\0\x50", 2)},
                                                                 {"255", std::string("\0\xFF", 2)},
                                                                 {"256", std::string("\1\0", 2)},
                                                                 {"8443", "\x20\xFB"},
                                                                 {"65535", "\xFF\xFF"}};
    for (const auto &[text, bytes] : ports) {
        set("web_port", text);
        EXPECT_EQ(port(), bytes) << text;
    }
}

TEST_F(OffDelayDatagram, HasTheLow16BitsOfAPortThatIsNone)
{
    const std::vector<std::pair<std::string, std::string>> ports{
        {"65536", std::string(2, '\0')}, {"65616", std::string("\0\x50", 2)}, {"-1", "\xFF\xFF"}};
    for (const auto &[text, bytes] : ports) {
        set("web_port", text);
        EXPECT_EQ(port(), bytes) << text;
    }
    unset("web_port");
    EXPECT_EQ(port(), std::string(2, '\0'));
}

// --- nonce and digest ---

TEST_F(OffDelayDatagram, HasTheTimePlusARandomNumberAsNonce)
{
    std::srand(4471);
    const auto random = static_cast<unsigned>(std::rand());
    std::srand(4471);
    EXPECT_EQ(nonce(), print("%08X", usual_time + random) + '\0');
}

TEST_F(OffDelayDatagram, TakesTheNextRandomNumberEachTimeAndSeedsNothing)
{
    std::srand(4471);
    const auto first = static_cast<unsigned>(std::rand());
    const auto second = static_cast<unsigned>(std::rand());
    const int third = std::rand();
    std::srand(4471);
    EXPECT_EQ(nonce(), print("%08X", usual_time + first) + '\0');
    EXPECT_EQ(nonce(), print("%08X", usual_time + second) + '\0');
    EXPECT_EQ(std::rand(), third);
}

TEST_F(OffDelayDatagram, HasANonceThatEachSecondMakesDifferent)
{
    std::srand(1);
    const auto first = std::stoul(nonce(), nullptr, 16);
    advance(1'000'000'000);
    std::srand(1);
    EXPECT_EQ(std::stoul(nonce(), nullptr, 16), first + 1);
}

TEST_F(OffDelayDatagram, HasANonceThatWrapsAt32BitsAndIsFilledUpWithZeros)
{
    for (const unsigned number : {0U, 1U, 0xABCDU, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        expect_next_nonce(number);
        EXPECT_EQ(nonce(), print("%08X", number) + '\0');
    }
    std::srand(1);
    const auto random = static_cast<unsigned>(std::rand());
    set_calendar(std::int64_t{1} << 32U); // in the year 2106
    std::srand(1);
    EXPECT_EQ(nonce(), print("%08X", random) + '\0');
}

TEST_F(OffDelayDatagram, ProvesLoginPasswordAndNonceByAKnownDigest)
{
    expect_next_nonce(0xABCD);
    EXPECT_EQ(part(33, 16), "\xEF\xED\xE8\x8B\xCE\xEB\xE8\xC8\x72\x89\x3F\x08\x30\xC1\xEE\x4A");
}

TEST_F(OffDelayDatagram, ProvesLoginsAndPasswordsOfUpTo63Characters)
{
    const std::string login(63, 'l');
    const std::string password(63, 'p');
    set("Login", login);
    set("Password", password);
    expect_signed(login + password);
}

TEST_F(OffDelayDatagram, CutsLoginAndPasswordAt63Characters)
{
    for (const std::size_t size : {64U, 65U, 500U}) {
        set("Login", std::string(size, 'l'));
        set("Password", std::string(size, 'p'));
        expect_signed(std::string(63, 'l') + std::string(63, 'p'));
    }
}

TEST_F(OffDelayDatagram, ProvesLoginAndPasswordByteForByte)
{
    set("Login", "m\xC3\xBCller;%s");
    set("Password", " \t\xFF;; ");
    expect_signed("m\xC3\xBCller;%s \t\xFF;; ");
}

TEST_F(OffDelayDatagram, ProvesTheNonceAloneWithoutLoginAndPassword)
{
    unset("Login");
    expect_signed("pw");
    unset("Password");
    expect_signed("");
}

TEST_F(OffDelayDatagram, ProvesTheNonceAloneWhereTheStoreAnswersNothing)
{
    unplug_store(true);
    expect_signed("");
}

TEST_F(OffDelayDatagram, HasItsDigestWhateverWasBegunBefore)
{
    md5_init();
    md5_update("another message", 15);
    expect_signed("adminpw");
}

TEST_F(OffDelayDatagram, LeavesTheDigestContextAsTheSameDigestByHandDoes)
{
    const std::string message = "adminpw" + signed_nonce_in(sent());
    const md5_context_state left = md5_context;
    std::array<unsigned char, 16> digest{};
    md5_init();
    md5_update(message.data(), static_cast<unsigned>(message.size()));
    md5_final(digest.data());
    EXPECT_TRUE(std::ranges::equal(left.state, md5_context.state));
    EXPECT_TRUE(std::ranges::equal(left.bits, md5_context.bits));
    EXPECT_TRUE(std::ranges::equal(left.buffer, md5_context.buffer));
}

// --- interfaces ---

TEST_F(OffDelayDatagram, HasOnesForAddressesThatAreMissing)
{
    add_interface("br0"); // without one
    remove_interface("apcli0");
    const std::string datagram = sent();
    EXPECT_EQ(datagram.substr(16, 4), none_as_address);
    EXPECT_EQ(datagram.substr(61, 5), none_as_address + '\0');
    EXPECT_EQ(complaints(), "");
}

TEST_F(OffDelayDatagram, HasZerosForAnEthernetAddressThatIsMissing)
{
    remove_interface("eth2");
    EXPECT_EQ(part(49, 12), std::string(12, '\0'));
    EXPECT_EQ(complaints(), "net_get_hwaddr: ioctl SIOCGIFHWADDR: No such device\n");
}

TEST_F(OffDelayDatagram, HasTheAddressOfEachInterfaceInItsOwnPlace)
{
    interface("br0").address("1.2.3.4");
    interface("apcli0").address("250.251.252.253");
    const std::string datagram = sent();
    EXPECT_EQ(datagram.substr(16, 4), "\x01\x02\x03\x04");
    EXPECT_EQ(datagram.substr(61, 4), "\xFA\xFB\xFC\xFD");
}

TEST_F(OffDelayDatagram, IsSentWithoutWhatNoSocketCanBeHadFor)
{
    for (int skip = 1; skip <= 3; ++skip)
        fail_call_after("socket", skip, EMFILE);
    const std::string datagram = sent();
    EXPECT_EQ(datagram.substr(16, 4), none_as_address);
    EXPECT_EQ(datagram.substr(49, 12), std::string(12, '\0'));
    EXPECT_EQ(datagram.substr(61, 4), none_as_address);
    EXPECT_EQ(complaints(), "socket error: Too many open files\nsocket error: Too many open files\n"
                            "socket error: Too many open files\n");
}

// --- failures ---

TEST_F(OffDelayDatagram, IsNotMadeWithoutASocket)
{
    fail_call("socket", EMFILE);
    EXPECT_EQ(standard_error_of([] { SendOFFDelayUDP(3); }), "");
    EXPECT_EQ(calls(), Calls{"socket INET DGRAM 0"});
}

TEST_F(OffDelayDatagram, IsNotMadeWhereBroadcastsAreRefused)
{
    fail_call("setsockopt", ENOPROTOOPT);
    EXPECT_EQ(standard_error_of([] { SendOFFDelayUDP(3); }), "");
    EXPECT_EQ(calls(), (Calls{"socket INET DGRAM 0", "setsockopt BROADCAST 1", "close socket"}));
}

TEST_F(OffDelayDatagram, IsNotTriedAgainWhereTheNetworkRefusesIt)
{
    fail_call("sendto", ENETUNREACH);
    EXPECT_EQ(standard_error_of([] { SendOFFDelayUDP(3); }), "");
    EXPECT_EQ(calls("sendto").size(), 1U);
    EXPECT_EQ(calls().back(), "close socket");
}

TEST_F(OffDelayDatagram, IsSentOnASocketNumberedZero)
{
    open_returns("socket", 0);
    EXPECT_EQ(sent().substr(0, 15), "PowerOFFDelay10");
}

} // namespace
} // namespace plexor::tests
