// SPDX-License-Identifier: Apache-2.0
// What the mail tests share: a letter that can be varied, and what became of it.
#pragma once

#include <filesystem>

#include <plexor/mail.h>

#include "tests/contract/appliance.h"
#include "tests/contract/base64_reference.h"
#include "tests/contract/files.h"
#include "tests/contract/text_argument.h"

namespace plexor::tests
{

inline const std::string settings_path = "/tmp/.esmtprc";
inline const std::string picture_path = "/tmp/uvcmail.jpg";
inline const std::string boundary = "----=_NextPart_76J_20140109_4471_T.1767323045"; // as the clock starts

struct Letter {
    Text from = "me@example.org";
    Text to = "you@example.org";
    Text user = "login";
    Text password = "secret";
    Text server = "mail.example.org";
    int port = 25;
    int starttls = 0;
    Text subject = "Hello";
    Text body = "World";
    int attach = 0;
};

class MailStory : public Appliance
{
  protected:
    MailStory()
    {
        std::filesystem::remove_all(settings_path);
        std::filesystem::remove_all(picture_path);
    }

    unsigned send()
    {
        unsigned result = 0;
        Letter sent = letter;
        printed = standard_output_of([&] {
            result = KSendTextMail(chars_of(sent.from), chars_of(sent.to), chars_of(sent.user),
                                   chars_of(sent.password), chars_of(sent.server), sent.port, sent.starttls,
                                   bytes_of(sent.subject), bytes_of(sent.body), sent.attach);
        });
        return result;
    }
    std::string message()
    {
        EXPECT_EQ(send(), letter.attach == 0 ? 2U : closing().size());
        return piped();
    }
    static std::string settings() { return text_of(settings_path); }
    // The client's command; empty when it was not started.
    std::string command() const
    {
        const Calls started = calls("popen w ");
        return started.empty() ? "" : started.front().substr(8);
    }
    static std::string closing() { return "\r\n--" + boundary + "--\r\n\r\n.\r\n"; }

    Letter letter{};
    std::string printed{};
};

} // namespace plexor::tests
