// SPDX-License-Identifier: Apache-2.0
// Whatever the settings of mail, trap, camera and sensors hold, each command is one program with the values
// as its arguments, the mail client's settings are the four that were meant, and nothing is read or written
// out of bounds.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <sstream>

#include <plexor/plexor.h>

#include "fuzz/appliance.h"
#include "fuzz/shell_words.h"

using namespace plexor::fuzz;
using Words = std::vector<std::string>;

namespace
{

// In the order of the values in the corpus.
constexpr std::array keys{"email_from",
                          "email_to",
                          "email_to_PX",
                          "email_user",
                          "email_pwd",
                          "email_smtp",
                          "email_port",
                          "email_tls",
                          "email_pic",
                          "WebCamResolution",
                          "WebCamFPS",
                          "WebCamPort",
                          "WebCamMode",
                          "snmp_trap_dest_type",
                          "snmp_trap_dest_community",
                          "snmp_trap_dest_host",
                          "IO_number",
                          "sIICAmp_PX",
                          "sIICTemp",
                          "sIICVolt",
                          "sIICDi",
                          "sAmp_PX",
                          "sTEmp_PX",
                          "correction_ampL_Px",
                          "correction_temp",
                          "SPI_buf_1",
                          "CDC_type_1",
                          "CDC_buf_1",
                          "sDOMode_PX",
                          "FREQ_PX"};

// Settings from the input, one after the other, separated by zeros; returns what is left as a text.
std::string take_settings(const std::uint8_t *data, std::size_t size)
{
    std::istringstream input(std::string(reinterpret_cast<const char *>(data), size));
    parameters = {{"snmp_enable", "1"}};
    for (const char *key : keys)
        std::getline(input, parameters[key], '\0');
    std::string text;
    std::getline(input, text, '\0');
    return text;
}

std::string text_of(const char *path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void add(Words &words, const std::string &value) // an empty one is no word
{
    if (!value.empty())
        words.push_back(value);
}

void trap(std::string text)
{
    commands.clear();
    SnmpSendTrap(text.data());
    if (commands.empty())
        return;
    const Words words = words_of(commands.front());
    const std::string host = cut(parameters["snmp_trap_dest_host"], 64);
    const bool version_1 = words.at(2) == "1";
    Words expected{"/bin/snmptrap", "-v", version_1 ? "1" : "2c", "-c",
                   cut(parameters["snmp_trap_dest_community"], 64)};
    add(expected, (host[0] == '-' ? "udp:" : "") + host);
    const Words identity = version_1 ? Words{"VOLTARA-MIB::outletStatusChanged", "", "6", "1", ""}
                                     : Words{"", "VOLTARA-MIB::outletStatusChanged"};
    expected.insert(expected.end(), identity.begin(), identity.end());
    expected.insert(expected.end(), {"SNMPv2-MIB::sysLocation.0", "s", text});
    expect(words == expected);
}

Words recipients()
{
    const std::string first = cut(parameters["email_to"], 195);
    std::string all = cut(first + ";" + cut(parameters["email_to_PX"], 195), 128);
    std::replace_if(
        all.begin(), all.end(), [](char c) { return std::strchr(",;:", c) != nullptr; }, ' ');
    Words found;
    std::istringstream words(all);
    for (std::string word; std::getline(words, word, ' ');)
        add(found, word[0] == '-' ? "<" + word + ">" : word);
    return found;
}

// A text between the client's quotes.
std::string unescaped(const std::string &text)
{
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text.compare(at, 4, "\\042") == 0) {
            plain += '"';
            at += 3;
            continue;
        }
        at += text[at] == '\\' ? 1 : 0;
        plain += text.at(at);
    }
    return plain;
}

// The statements of the client's settings: bare words end at blanks, quoted ones at their quote.
Words settings_of_client()
{
    const std::string text = text_of("/tmp/.esmtprc");
    Words words;
    for (std::size_t at = 0; at < text.size();) {
        const char c = text[at];
        if (c == '"') {
            const std::size_t end = text.find(c, at + 1);
            expect(end != std::string::npos);
            words.push_back(unescaped(text.substr(at + 1, end - at - 1)));
            at = end + 1;
        } else if (c == ' ' || c == '\n') {
            ++at;
        } else {
            const std::size_t end = std::min(text.find_first_of(" \n\"'", at), text.size());
            words.push_back(text.substr(at, end - at));
            at = end;
        }
    }
    return words;
}

void check_settings_of_client()
{
    const std::string from = cut(parameters["email_from"], 128);
    const std::string user = cut(parameters["email_user"], 64);
    const std::string tls = cut(parameters["email_tls"], 16);
    const std::string port = std::to_string(std::atoi(cut(parameters["email_port"], 16).c_str()));
    const Words expected{"hostname",
                         "=",
                         cut(parameters["email_smtp"], 64) + ":" + port,
                         "username",
                         "=",
                         user.empty() ? from : user,
                         "password",
                         "=",
                         cut(parameters["email_pwd"], 64),
                         "starttls",
                         tls == "1" || tls == "tls" ? "required" : "disabled"};
    expect(settings_of_client() == expected);
}

void check_client()
{
    expect(commands.size() == 2 && commands[0] == "chmod 0710 /tmp/.esmtprc\n");
    Words expected{"esmtp"};
    for (const auto &recipient : recipients())
        expected.push_back(recipient);
    expected.emplace_back("-f");
    add(expected, cut(parameters["email_from"], 128));
    expected.emplace_back("-v");
    expect(words_of(commands[1]) == expected);
    check_settings_of_client();
}

void check_camera()
{
    Words expected{"uvc_stream", "-r"};
    add(expected, cut(parameters["WebCamResolution"], 32));
    expected.emplace_back("-f");
    add(expected, cut(parameters["WebCamFPS"], 16));
    expected.emplace_back("-p");
    add(expected, cut(parameters["WebCamPort"], 16));
    expected.insert(expected.end(), {"-b", "-m"});
    add(expected, cut(parameters["WebCamMode"], 16));
    expected.insert(expected.end(), {"-mail", "1"});
    expect(words_of(commands.back()) == expected);
}

void mail(std::string text)
{
    commands.clear();
    auto *const bytes = reinterpret_cast<unsigned char *>(text.data());
    KSendIOAlertMail(bytes, bytes);
    if (cut(parameters["email_pic"], 16) == "1")
        check_camera();
    else if (!parameters["email_smtp"].empty())
        check_client();
    else
        expect(commands.empty());
}

// An entry's form depends on the model; one that is none of the family leaves only the end.
void check_entry(const std::string &entry, const std::string &text)
{
    const std::string start = "SOURCE:" + text.substr(0, 271) + " ";
    const std::size_t description = start.size() + std::strlen("2014-01-09 00:00:00\n");
    expect(entry.ends_with("]\n\n"));
    const int model = std::atoi(parameters["IO_number"].c_str());
    if (model < 1 || model > 11) {
        expect(entry == "]\n\n");
        return;
    }
    expect(entry.starts_with(start) && entry.at(description - 1) == '\n');
    expect(entry.compare(description, text.size(), text) == 0);
    expect(entry.find('[', description + text.size()) != std::string::npos);
}

void journal(std::string text)
{
    const auto before = static_cast<std::uint32_t>(std::time(nullptr));
    PreSendIOMail(text.data(), text.data());
    const std::string written = text_of("/tmp/iomail.txt");
    std::remove("/tmp/iomail.txt");
    std::uint32_t stamp = 0;
    expect(written.size() > sizeof stamp && parameters["IOMailWriting"] == "0");
    std::memcpy(&stamp, written.data(), sizeof stamp);
    expect(stamp >= before && stamp <= std::time(nullptr));
    check_entry(written.substr(sizeof stamp), text);
}

void readings()
{
    char text[128];
    float values[8] = {};
    int numbers[8] = {};
    unsigned char raw[32];
    IICADCTransAmpPX(text, raw);
    GetPowerCurrent(values);
    GetPowerTemp(values);
    GetPowerVolt(values);
    GetPowerHumi(values);
    GetDOStatus(numbers);
    GetUsbPortData(values, numbers, values);
    GetIICDi();
    unsigned frequency = 7;
    setDoX(1, 3, &frequency);
    expect(parameters["FREQ_PX"].size() <= 511);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string text = take_settings(data, size);
    trap(text);
    mail(text);
    journal(text);
    readings();
    return 0;
}
