// SPDX-License-Identifier: Apache-2.0
// Writes one JSON value as it is told, on one line. Texts may hold any bytes: what is not UTF-8 becomes the
// replacement character.
#pragma once

#include <cmath>
#include <cstdio>
#include <optional>

namespace plexor::ctl
{

// Bytes of the UTF-8 character at the start of text, 0 where there is none.
inline int utf8_length(const unsigned char *text)
{
    struct Form {
        unsigned char first, last;     // range of the first byte
        unsigned char lowest, highest; // range of the second, which excludes long forms and surrogates
        int length;
    };
    static constexpr Form forms[] = {
        {0x00, 0x7F, 0x00, 0xFF, 1}, {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
        {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
        {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
    };
    for (const Form &form : forms) {
        if (text[0] < form.first || text[0] > form.last)
            continue;
        if (form.length > 1 && (text[1] < form.lowest || text[1] > form.highest))
            return 0;
        for (int i = 2; i < form.length; ++i) {
            if ((text[i] & 0xC0) != 0x80)
                return 0;
        }
        return form.length;
    }
    return 0;
}

class Json
{
  public:
    explicit Json(FILE *stream) : stream_(stream) { open('{', '}'); }
    ~Json()
    {
        while (depth_ > 0)
            end();
        std::fputc('\n', stream_);
    }
    Json(const Json &) = delete;
    Json &operator=(const Json &) = delete;

    // Inside an array the key is null.
    void begin_object(const char *key = nullptr)
    {
        name(key);
        open('{', '}');
    }

    void begin_array(const char *key = nullptr)
    {
        name(key);
        open('[', ']');
    }

    void end() { std::fputc(closers_[--depth_], stream_); }

    void number(const char *key, long long value)
    {
        name(key);
        std::fprintf(stream_, "%lld", value);
    }

    void decimal(const char *key, std::optional<double> value, int digits) // what is no number is null
    {
        name(key);
        if (value && std::isfinite(*value))
            std::fprintf(stream_, "%.*f", digits, *value);
        else
            std::fputs("null", stream_);
    }

    void flag(const char *key, bool value)
    {
        name(key);
        std::fputs(value ? "true" : "false", stream_);
    }

    void text(const char *key, const char *value) // a null value is null
    {
        name(key);
        if (value != nullptr)
            quoted(value);
        else
            std::fputs("null", stream_);
    }

  private:
    void open(char opener, char closer)
    {
        std::fputc(opener, stream_);
        closers_[depth_++] = closer;
        first_ = true;
    }

    void name(const char *key)
    {
        if (!first_)
            std::fputc(',', stream_);
        first_ = false;
        if (key == nullptr)
            return;
        quoted(key);
        std::fputc(':', stream_);
    }

    void quoted(const char *value)
    {
        std::fputc('"', stream_);
        for (const char *c = value; *c != '\0';)
            c += character(c);
        std::fputc('"', stream_);
    }

    // Writes the character at text and returns the bytes that it took.
    int character(const char *text)
    {
        const int length = utf8_length(reinterpret_cast<const unsigned char *>(text));
        if (length == 0)
            std::fputs("\\ufffd", stream_);
        else if (*text == '"' || *text == '\\')
            std::fprintf(stream_, "\\%c", *text);
        else if (length == 1 && *text < ' ')
            std::fprintf(stream_, "\\u%04x", static_cast<unsigned>(*text));
        else
            std::fwrite(text, 1, static_cast<std::size_t>(length), stream_);
        return length == 0 ? 1 : length;
    }

    FILE *stream_;
    char closers_[8] = {};
    int depth_ = 0;
    bool first_ = true;
};

} // namespace plexor::ctl
