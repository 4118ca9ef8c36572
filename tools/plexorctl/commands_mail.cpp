// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <unistd.h>

#include <plexor/alert.h>
#include <plexor/mail.h>

#include "notify/mail_settings.h"
#include "tools/plexorctl/command.h"
#include "tools/plexorctl/json.h"
#include "tools/plexorctl/parse.h"
#include "tools/support/console.h"

namespace plexor::ctl
{
namespace
{

// What the library takes whole.
constexpr std::size_t longest_recipients = 127;
constexpr std::size_t longest_subject = 98;
constexpr std::size_t longest_body = 6914;

struct Mail {
    MailSettings settings;
    char recipients[sizeof MailSettings::to + sizeof MailSettings::further_to];
    char subject[longest_subject + 1];
    char body[longest_body + 1];
    bool with_snapshot;
    bool by_camera; // the camera's process takes a picture and sends the mail
};

int check_words(const Context &context)
{
    if (context.to != nullptr && !is_line(context.to, 1, longest_recipients))
        return wrong_input(
            "'%.80s' is no list of recipients; accepted: 1 to %zu bytes without control characters",
            context.to, longest_recipients);
    if (context.subject != nullptr && !is_line(context.subject, 1, longest_subject))
        return wrong_input("'%.80s' is no subject; accepted: 1 to %zu bytes without control characters",
                           context.subject, longest_subject);
    const std::size_t body = context.body != nullptr ? std::strlen(context.body) : 1;
    if (body < 1 || body > longest_body)
        return wrong_input("a text of %zu bytes is refused; accepted: 1 to %zu", body, longest_body);
    return done;
}

void write_recipients(const Context &context, Mail &mail)
{
    const MailSettings &stored = mail.settings;
    if (context.to != nullptr)
        std::snprintf(mail.recipients, sizeof mail.recipients, "%s", context.to);
    else
        std::snprintf(mail.recipients, sizeof mail.recipients, "%s%s%s", stored.to,
                      *stored.to != '\0' && *stored.further_to != '\0' ? ";" : "", stored.further_to);
}

void compose(const Context &context, Mail &mail)
{
    fetch_mail_settings(mail.settings);
    write_recipients(context, mail);
    const auto text = [](char *given, const char *stand_in) { return given != nullptr ? given : stand_in; };
    std::snprintf(mail.subject, sizeof mail.subject, "%s", text(context.subject, "plexorctl mail test"));
    std::snprintf(mail.body, sizeof mail.body, "%s",
                  text(context.body, "The mail settings of this power switch work."));
    mail.with_snapshot = context.snapshot;
    mail.by_camera = context.to == nullptr && !context.snapshot && mail.settings.wants_picture();
}

// The library starts it with the shell and does not see whether it was there.
bool client_is_there()
{
    return std::system("command -v esmtp >/dev/null 2>&1") == 0;
}

// As the library joins the stored lists: the first may be empty.
std::size_t length_of_stored_recipients(const MailSettings &stored)
{
    const std::size_t further = std::strlen(stored.further_to);
    return std::strlen(stored.to) + (further != 0 ? 1 + further : 0);
}

int check_recipients(const Context &context, const Mail &mail)
{
    if (*mail.recipients == '\0')
        return failure("no recipients: the parameters email_to and email_to_PX are not set");
    const std::size_t length = length_of_stored_recipients(mail.settings);
    if (context.to == nullptr && length > longest_recipients)
        return failure(
            "too many recipients: the parameters email_to and email_to_PX make a list of %zu bytes, "
            "and a mail takes %zu",
            length, longest_recipients);
    return done;
}

int check_settings(const Context &context, const Mail &mail)
{
    if (*mail.settings.server == '\0')
        return failure("no mail server: the parameter email_smtp is not set");
    if (*mail.settings.from == '\0')
        return failure("no sender: the parameter email_from is not set");
    if (const int status = check_recipients(context, mail); status != done)
        return status;
    if (!mail.by_camera && !client_is_there())
        return failure("the mail client is missing: there is no program esmtp");
    return done;
}

unsigned char *bytes_of(char *text)
{
    return reinterpret_cast<unsigned char *>(text);
}

int send_with_own_words(const Context &context, Mail &mail)
{
    MailSettings &stored = mail.settings;
    return static_cast<int>(KSendTextMail(stored.from, mail.recipients, stored.user, stored.password,
                                          stored.server, std::atoi(stored.port),
                                          stored.requires_tls() ? 1 : 0, bytes_of(mail.subject),
                                          bytes_of(mail.body), context.snapshot ? 1 : 0));
}

int send(const Context &context, Mail &mail)
{
    if (context.to != nullptr || context.snapshot)
        return send_with_own_words(context, mail);
    return KSendIOAlertMail(bytes_of(mail.subject), bytes_of(mail.body));
}

int tell_result(const Mail &mail, int result)
{
    constexpr int signalled = sizeof "send ioalert by uvc USR1\n" - 1;
    if (mail.by_camera && result != 0 && result != signalled)
        return failure("the camera's process could not be started; --verbose shows why");
    if (mail.by_camera)
        return done;
    if (result == -1)
        return failure("the mail was left unfinished: the size of /tmp/uvcmail.jpg cannot be told");
    if (result == 0)
        return failure("the mail was not handed over: /tmp/.esmtprc cannot be written, or esmtp not started");
    return done;
}

void report(const Context &context, const Mail &mail, bool has_picture)
{
    const char *carrier = mail.by_camera ? "the camera's process" : "the mail client";
    if (!context.json) {
        std::fprintf(results(), "Handed to %s for %s%s; whether it arrives is not known here\n", carrier,
                     mail.recipients, mail.with_snapshot && !has_picture ? ", without a picture" : "");
        return;
    }
    Json json(results());
    json.text("to", mail.recipients);
    json.text("subject", mail.subject);
    json.text("handed_to", mail.by_camera ? "camera" : "client");
    json.flag("picture", mail.by_camera || (mail.with_snapshot && has_picture));
}

} // namespace

int mail_test(const Context &context)
{
    if (const int status = check_words(context); status != done)
        return status;
    Mail mail{};
    compose(context, mail);
    if (const int status = check_settings(context, mail); status != done)
        return status;
    const bool has_picture = access("/tmp/uvcmail.jpg", R_OK) == 0;
    if (const int status = tell_result(mail, send(context, mail)); status != done)
        return status;
    report(context, mail, has_picture);
    return done;
}

} // namespace plexor::ctl
