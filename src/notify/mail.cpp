// SPDX-License-Identifier: Apache-2.0
//
// Who calls it: the alert mail inside the library; the web interface's test button outside.
// What it owns: "/tmp/.esmtprc", which holds the password of the mail account.
// What is odd: the stand-in texts for subject and body are not base 64 where base 64 is announced; a message
// without snapshot is not closed, as its client ends it where its input ends.
#include <plexor/mail.h>

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "notify/base64.h"
#include "support/broken_pipe.h"
#include "support/descriptor.h"
#include "support/owned.h"
#include "support/shell.h"
#include "support/text.h"
#include "support/time.h"

namespace plexor
{
namespace
{

constexpr const char *client_settings_path = "/tmp/.esmtprc";
constexpr const char *snapshot_path = "/tmp/uvcmail.jpg";

constexpr std::size_t line_size = 10240; // from the heap, as its failure has a text of its own

// Room for a text in base 64 of at most `size - 1` characters, and for the group by which the rule below lets
// a text exceed it.
template <std::size_t size>
struct EncodedField {
    unsigned char text[size + 4] = {};

    // Texts whose whole groups of three bytes do not fit are cut.
    void encode(const unsigned char *plain)
    {
        if (plain == nullptr)
            return;
        std::size_t length = std::strlen(reinterpret_cast<const char *>(plain));
        if (length / 3 * 4 >= size)
            length = (size - 1) / 4 * 3;
        base64_encode(plain, length, text);
    }
    void replace_if_empty(const char *stand_in)
    {
        if (text[0] == '\0')
            strcpy(reinterpret_cast<char *>(text), stand_in);
    }
    const char *c_str() const { return reinterpret_cast<const char *>(text); }
};

// --- the letter ---

struct Letter {
    char from[128];
    char to[128];
    char user[128];
    char password[128];
    char server[128];
    int port;
    bool starttls;
    char boundary[76];
    EncodedField<129> subject;
    EncodedField<9217> body;
};

constexpr bool separates_recipients(char c)
{
    return c == ',' || c == ';' || c == ':' || c == ' ';
}

using Recipient = char[sizeof Letter::to]; // where any part of the list fits

// Copies the recipient at text, if there is one, and returns what is behind it.
const char *take_recipient(const char *text, Recipient &recipient)
{
    std::size_t length = 0;
    while (*text != '\0' && !separates_recipients(*text))
        recipient[length++] = *text++;
    recipient[length] = '\0';
    return text;
}

const char *skip_separators(const char *text)
{
    while (separates_recipients(*text))
        ++text;
    return text;
}

// --- the client's settings ---

constexpr bool is_host_char(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || is_digit(c) || c == '.' || c == '-' ||
           c == '_' || c == ':' || c == '[' || c == ']';
}

bool is_host(const char *text)
{
    return std::all_of(text, text + std::strlen(text), is_host_char);
}

// The client reads the escapes of C, but takes a quote for the end even behind a backslash.
void append_setting(TextBuilder &line, const char *value)
{
    line.append('"');
    for (; *value != '\0'; ++value) {
        if (*value == '"')
            line.append("\\042");
        else if (*value == '\\')
            line.append("\\\\");
        else
            line.append(*value);
    }
    line.append('"');
}

using Settings = char[2048]; // each of four values of 127 bytes may take four times as much

void append_host(TextBuilder &text, const char *server, int port)
{
    char host[sizeof Letter::server + 16];
    snprintf(host, sizeof host, "%s:%d", server, port);
    if (is_host(host))
        text.append(host);
    else
        append_setting(text, host);
}

void build_settings(Settings &settings, const Letter &letter, const char *password)
{
    TextBuilder text(settings);
    text.append("hostname = ");
    append_host(text, letter.server, letter.port);
    text.append("\nusername = ");
    append_setting(text, letter.user);
    text.append("\npassword = ");
    append_setting(text, password);
    text.append(letter.starttls ? "\nstarttls required\n" : "\nstarttls disabled\n");
}

// Makes the settings under a name of their own, so that nobody else has them open, and puts them in place
// when they are complete: the client of another process that sends at this moment finds the old ones or
// these.
bool replace_settings(const char *settings)
{
    char path[] = "/tmp/.esmtprc.XXXXXX";
    const Descriptor file(mkostemp(path, O_CLOEXEC));
    if (!file)
        return false;
    if (dprintf(file.get(), "%s", settings) >= 0 && rename(path, client_settings_path) == 0)
        return true;
    unlink(path);
    return false;
}

bool configure_client(const Letter &letter)
{
    Settings settings;
    build_settings(settings, letter, letter.password);
    if (!replace_settings(settings)) {
        printf("error can't write .esmtprc\n");
        return false;
    }
    build_settings(settings, letter, "********"); // what is printed may be read by others
    printf("%s", settings);
    return true;
}

// --- the client's command ---

void append_recipient(TextBuilder &command, const char *recipient)
{
    char word[sizeof(Recipient) + 2];
    snprintf(word, sizeof word, *recipient == '-' ? "<%s>" : "%s", recipient); // no option of the client
    shell::append_word(command, word);
}

// Blanks stay, and every other separator becomes one.
void build_command(TextBuilder &command, const Letter &letter)
{
    command.append("esmtp ");
    for (const char *rest = letter.to; *rest != '\0';) {
        Recipient recipient;
        rest = take_recipient(rest, recipient);
        append_recipient(command, recipient);
        for (; separates_recipients(*rest); ++rest)
            command.append(' ');
    }
    command.append(" -f ");
    shell::append_word(command, letter.from);
    command.append(" -v");
}

Pipe start_client(const Letter &letter, char *line)
{
    TextBuilder command(line, line_size);
    build_command(command, letter);
    printf("%s\n", line);
    return Pipe(popen(line, "we"));
}

// --- the message ---

// An address must not end its line of the header.
void write_address(FILE *message, const char *address)
{
    for (; *address != '\0'; ++address)
        fputc(std::iscntrl(static_cast<unsigned char>(*address)) != 0 ? ' ' : *address, message);
}

void write_recipients(FILE *message, const char *recipients)
{
    const char *rest = skip_separators(recipients);
    while (*rest != '\0') {
        Recipient recipient;
        rest = skip_separators(take_recipient(rest, recipient));
        fputs("<", message);
        write_address(message, recipient);
        fputs(*rest == '\0' ? ">" : ">,\r\n ", message);
    }
}

void write_header(FILE *message, const Letter &letter)
{
    fputs("To: ", message);
    write_recipients(message, letter.to);
    fputs("\r\nCc: \r\nFrom: ", message);
    write_address(message, letter.from);
    fprintf(message,
            "\r\nSubject: =?UTF-8?B?%s?=\r\n"
            "MIME-Version: 1.0\r\n"
            "Content-Type: multipart/mixed;\r\n"
            "\tboundary=\"%s\"\r\n",
            letter.subject.c_str(), letter.boundary);
}

void write_text_part(FILE *message, const Letter &letter)
{
    fprintf(message,
            "\r\n--%s\r\n"
            "Content-Type: text/plain; charset=\"UTF-8\"\r\n"
            "Content-Transfer-Encoding: base64\r\n"
            "\r\n",
            letter.boundary);
    const char *rest = letter.body.c_str();
    for (std::size_t left = std::strlen(rest); left > characters_per_line; left -= characters_per_line) {
        fwrite(rest, 1, characters_per_line, message);
        fputs("\r\n", message);
        rest += characters_per_line;
    }
    fprintf(message, "%s\r\n", rest);
}

void write_picture_header(FILE *message, const Letter &letter)
{
    const tm now = local_time(time(nullptr));
    fprintf(message,
            "\r\n--%s\r\n"
            "Content-Transfer-Encoding: base64\r\n"
            "Content-id: <%03d>\r\n"
            "Content-Type: image/jpeg; name=\"uvc%d%02d%02d_%02d%02d%02d.jpg\"\r\n\r\n",
            letter.boundary, 1, now.tm_year + 1900, now.tm_mon + 1, now.tm_mday, now.tm_hour, now.tm_min,
            now.tm_sec);
}

// The picture with some zeros behind its end; false when its size cannot be told.
bool write_picture(FILE *message, int fd)
{
    constexpr int padding = 20;
    const off_t size = lseek(fd, 0, SEEK_END);
    if (size < 0) {
        printf("fseek SEEK_END error");
        return false;
    }
    if (lseek(fd, 0, SEEK_SET) < 0) {
        printf("fseek SEEK_SET error");
        return false;
    }
    KBase64EncodeFile(fd, message, static_cast<int>(std::min<off_t>(size, INT_MAX - padding)) + padding);
    return true;
}

bool write_picture_part(FILE *message, const Letter &letter)
{
    write_picture_header(message, letter);
    Descriptor picture(open(snapshot_path, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!picture) {
        fputs("Tm9QaWN0dXJl", message); // "NoPicture"
        return true;
    }
    if (write_picture(message, picture.get()))
        return true;
    picture.release(); // stays open, like all else
    return false;
}

constexpr unsigned failed = ~0U;

// The length of its last piece, or failed.
unsigned write_message(FILE *message, const Letter &letter, bool with_picture)
{
    write_header(message, letter);
    write_text_part(message, letter);
    if (!with_picture)
        return sizeof "\r\n" - 1;
    if (!write_picture_part(message, letter))
        return failed;
    char closing[sizeof letter.boundary + 16];
    const int length = snprintf(closing, sizeof closing, "\r\n--%s--\r\n\r\n.\r\n", letter.boundary);
    fputs(closing, message);
    return static_cast<unsigned>(length);
}

unsigned pipe_message(FILE *client, const Letter &letter, bool with_picture)
{
    int fd = fileno(client);
    const Stream message = patient_stream(fd);
    return message ? write_message(message.get(), letter, with_picture) : 0;
}

unsigned send(const Letter &letter, bool with_picture, char *line)
{
    if (!configure_client(letter))
        return 0;
    [[maybe_unused]] const int status = system("chmod 0710 /tmp/.esmtprc\n"); // as the client asks for
    Pipe client = start_client(letter, line);
    const BrokenPipeHeld held; // only now, or the client would hold it back as well
    const unsigned result = client ? pipe_message(client.get(), letter, with_picture) : 0;
    if (result == failed) {
        static_cast<void>(client.release());
        return failed;
    }
    client.reset();
    printf("smtp:KSendTextMail end.\n");
    return result;
}

} // namespace
} // namespace plexor

using namespace plexor;

unsigned KSendTextMail(const char *from, char *to, char *user, const char *password, const char *server,
                       int port, int starttls, unsigned char *subject, unsigned char *body, int attach)
{
    Letter letter{};
    snprintf(letter.boundary, sizeof letter.boundary, "----=_NextPart_76J_20140109_4471_T.%d",
             static_cast<int>(time(nullptr)));
    const Block line = take_block(line_size);
    if (!line) {
        printf("malloc %d byte failed\n", static_cast<int>(line_size));
        return 0;
    }
    copy_cut(letter.from, from);
    copy_cut(letter.to, to);
    copy_cut(letter.user, user);
    copy_cut(letter.password, password);
    copy_cut(letter.server, server);
    letter.port = port;
    letter.starttls = starttls != 0;
    if (letter.server[0] == '\0') {
        printf("smtp server is null,skip.\n");
        return 0;
    }
    if (letter.user[0] == '\0')
        std::memcpy(letter.user, letter.from, sizeof letter.user);
    letter.subject.encode(subject);
    letter.subject.replace_if_empty("ZR4471 Mail");
    letter.body.encode(body);
    letter.body.replace_if_empty("this message send by ZR4471.");
    return send(letter, attach != 0, reinterpret_cast<char *>(line.get()));
}
