// SPDX-License-Identifier: Apache-2.0
//
// Who calls it: the switching entry points write the journal; alert mail is asked for by the web interface.
// What it owns: the alert journal, and the flag "IOMailWriting" beside it; the texts handed to the camera
// process.
// What is odd: the flag keeps writers apart for half a second and no longer; the form of an entry depends on
// the model, and a model that is none of the family leaves only the end of one.
#include <plexor/alert.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <plexor/companion.h>
#include <plexor/dio.h>
#include <plexor/mail.h>
#include <plexor/process.h>
#include <plexor/relay.h>
#include <plexor/sense.h>

#include "foundation/model_table.h"
#include "notify/mail_settings.h"
#include "nvram.h"
#include "support/descriptor.h"
#include "support/list.h"
#include "support/owned.h"
#include "support/shell.h"
#include "support/time.h"

namespace plexor
{
namespace
{

constexpr const char *journal_path = "/tmp/iomail.txt";
constexpr const char *writing_key = "IOMailWriting";

// --- the journal ---

struct Readings {
    int outlets[max_outlets] = {};
    float amperes[max_outlets] = {};
    float degrees = 0; // of models without a thermometer too
    float volts = 0;
    bool looped = false;
};

struct Entry {
    unsigned model;
    const char *description;
    const char *source;
    time_t time;
    Readings readings;
};

void wait_for_other_writers()
{
    constexpr int attempts = 10;
    for (int i = 0; i < attempts && nvram_kget_int(writing_key, 0) != 0; ++i)
        USleep(50'000);
}

// Files in /tmp are written where they are said to be, not where somebody's link leads, and a pipe in their
// place is not waited for.
int open_for_writing(const char *path, int flags)
{
    return open(path, O_WRONLY | flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
}

void write_start(FILE *journal, const Entry &entry)
{
    constexpr int longest_header = 299;
    constexpr int date_length = sizeof " 2014-01-09 00:00:00\n" - 1;
    constexpr int longest_source = longest_header - date_length - int{sizeof "SOURCE:" - 1};
    const tm now = local_time(entry.time);
    fprintf(journal, "SOURCE:%.*s %04d-%02d-%02d %02d:%02d:%02d\n", longest_source,
            entry.source == nullptr ? "N/A" : entry.source, now.tm_year + 1900, now.tm_mon + 1, now.tm_mday,
            now.tm_hour, now.tm_min, now.tm_sec);
    fputs(entry.description, journal);
}

const char *on_or_off(int state)
{
    return state != 0 ? "ON" : "OFF";
}

void write_outlets(FILE *journal, const Readings &readings, unsigned outlets)
{
    for (unsigned i = 0; i < outlets; ++i)
        fprintf(journal, "Power%u=%s ;", i + 1, on_or_off(readings.outlets[i]));
}

void write_outlets_with_currents(FILE *journal, const Readings &readings)
{
    for (unsigned i = 0; i < max_outlets; ++i)
        fprintf(journal, "Power%u=%s, %4.2fA;", i + 1, on_or_off(readings.outlets[i]),
                double{readings.amperes[i]});
}

void write_temperature(FILE *journal, float degrees)
{
    fprintf(journal, "Temperature=%3.1f℃(%3.1f℉)", double{degrees}, degrees * 1.8 + 32);
}

void write_voltage_and_input(FILE *journal, const Readings &readings)
{
    fprintf(journal, ";Voltage=%4.2fV", double{readings.volts});
    fprintf(journal, " DI = %s ", readings.looped ? "Loopback" : "OPEN");
}

// What an entry of the model tells of besides the outlets.
void take_readings(const Model &model, Readings &readings)
{
    if (model.journal == JournalForm::metered)
        GetPowerCurrent(readings.amperes);
    if (model.journal == JournalForm::metered || model.journal == JournalForm::sensed)
        GetPowerTemp(&readings.degrees);
    if (model.journal == JournalForm::metered) {
        GetPowerVolt(&readings.volts);
        readings.looped = GetIICDi() == 0;
    }
    if (model.external_meter)
        GetPowerCurrent(readings.amperes);
}

void write_entry(FILE *journal, const Entry &entry)
{
    const Model &model = model_at(entry.model);
    const Readings &readings = entry.readings;
    switch (model.journal) {
    case JournalForm::plain:
        write_start(journal, entry);
        fputs("\r\n\t[", journal);
        write_outlets(journal, readings, model.outlets);
        break;
    case JournalForm::metered:
        write_start(journal, entry);
        fputs("\r\n\t[", journal);
        write_outlets_with_currents(journal, readings);
        write_temperature(journal, readings.degrees);
        write_voltage_and_input(journal, readings);
        break;
    case JournalForm::sensed:
        write_start(journal, entry);
        fputs("[", journal);
        write_outlets(journal, readings, 4);
        write_temperature(journal, readings.degrees);
        if (model.external_meter)
            fprintf(journal, "Amp=%4.1fA;", double{readings.amperes[0]});
        break;
    case JournalForm::none:
        break;
    }
    fputs("]\n\n", journal);
}

// As it is, or made where there is none. Never emptied: another writer may have made it a moment ago. Not
// made where there is one: kernels may refuse that for another user's file in /tmp.
int open_journal()
{
    const int fd = open_for_writing(journal_path, 0);
    return fd < 0 && errno == ENOENT ? open_for_writing(journal_path, O_CREAT) : fd;
}

// An entry goes to the journal's end by one write (by a few when its description is long): what other
// processes write meanwhile stays.
void append_to_journal(Entry &entry)
{
    Descriptor file(open_journal());
    entry.time = time(nullptr);
    const auto stamp = static_cast<std::uint32_t>(entry.time);
    if (!file || pwrite(file.get(), &stamp, sizeof stamp, 0) != ssize_t{sizeof stamp})
        return;
    const Stream journal = stream_on(file.release(), "a");
    take_readings(model_at(entry.model), entry.readings);
    if (journal)
        write_entry(journal.get(), entry);
}

// --- the mail ---

void hand_over(const char *path, const unsigned char *text)
{
    const Stream file = stream_on(open_for_writing(path, O_CREAT | O_TRUNC), "w");
    if (file && text != nullptr)
        fputs(reinterpret_cast<const char *>(text), file.get());
}

int start_camera()
{
    char resolution[32] = {};
    char rate[16] = {};
    char port[16] = {};
    char mode[16] = {};
    fetch("WebCamResolution", resolution);
    fetch("WebCamFPS", rate);
    fetch("WebCamPort", port);
    fetch("WebCamMode", mode);
    char text[512]; // four values, each character of which may take four
    TextBuilder command(text);
    command.append("uvc_stream -r ");
    shell::append_word(command, resolution);
    command.append(" -f ");
    shell::append_word(command, rate);
    command.append(" -p ");
    shell::append_word(command, port);
    command.append(" -b -m ");
    shell::append_word(command, mode);
    command.append(" -mail 1\n");
    return system(text);
}

int mail_with_snapshot(const unsigned char *subject, const unsigned char *body)
{
    hand_over("/tmp/uvc_mail.subject", subject);
    hand_over("/tmp/uvc_mail.body", body);
    unlink("/tmp/uvcmail.jpg");
    const int camera = isUVCRuning();
    if (camera != 0) {
        kill(camera, SIGUSR2);
        if (kill(camera, SIGUSR1) == 0)
            return fprintf(stderr, "send ioalert by uvc USR1\n");
    }
    return start_camera();
}

} // namespace
} // namespace plexor

using namespace plexor;

void PreSendIOMail(char *description, char *source)
{
    Entry entry{};
    GetPowerStatus(entry.readings.outlets);
    entry.model = stored_model_index();
    if (description == nullptr)
        return;
    entry.description = description;
    entry.source = source;
    wait_for_other_writers();
    nvram_bufset(0, writing_key, "1");
    append_to_journal(entry);
    nvram_bufset(0, writing_key, "0");
}

int KSendIOAlertMail(unsigned char *subject, unsigned char *body)
{
    MailSettings settings;
    fetch_mail_settings(settings);
    if (settings.wants_picture())
        return mail_with_snapshot(subject, body);
    char to[sizeof settings.to + sizeof settings.further_to]; // no more than the mail takes is used
    snprintf(to, sizeof to, "%s;%s", settings.to, settings.further_to);
    return static_cast<int>(KSendTextMail(settings.from, to, settings.user, settings.password,
                                          settings.server, std::atoi(settings.port),
                                          settings.requires_tls() ? 1 : 0, subject, body, 0));
}
