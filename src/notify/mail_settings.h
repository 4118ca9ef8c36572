// SPDX-License-Identifier: Apache-2.0
// The parameters by which alert mail is sent.
#pragma once

#include <cstring>

#include "support/list.h"

namespace plexor
{

struct MailSettings {
    char from[128] = {};
    char to[195] = {};
    char further_to[195] = {};
    char user[64] = {};
    char password[64] = {};
    char server[64] = {};
    char port[16] = {};
    char tls[16] = {};
    char picture[16] = {};

    bool requires_tls() const { return std::strcmp(tls, "1") == 0 || std::strcmp(tls, "tls") == 0; }
    bool wants_picture() const { return std::strcmp(picture, "1") == 0; }
};

inline void fetch_mail_settings(MailSettings &settings)
{
    fetch("email_from", settings.from);
    fetch("email_to", settings.to);
    fetch("email_to_PX", settings.further_to);
    fetch("email_user", settings.user);
    fetch("email_pwd", settings.password);
    fetch("email_smtp", settings.server);
    fetch("email_port", settings.port);
    fetch("email_tls", settings.tls);
    fetch("email_pic", settings.picture);
}

} // namespace plexor
