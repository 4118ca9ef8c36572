// SPDX-License-Identifier: Apache-2.0
// Writes one JSON value as it is told, on one line. Texts may hold any bytes: what is not UTF-8 becomes the
// replacement character.
#pragma once

#include <cmath>
#include <cstdio>
#include <optional>
#include <string_view>

namespace plexor::ctl
{

// Bytes of the UTF-8 character at the start of text, which is not empty; 0 where there is none.
inline std::size_t utf8_length(std::string_view text)
{
    struct Form {
        unsigned char first, last;     // range of the first byte
        unsigned char lowest, highest; // range of the second, which excludes long forms and surrogates
        std::size_t length;
    };
    static constexpr Form forms[] = {
        {0x00, 0x7F, 0x00, 0xFF, 1}, {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
        {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
        {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
    };
    const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    for (const Form &form : forms) {
        if (byte(0) < form.first || byte(0) > form.last)
            continue;
        if (form.length > text.size() ||
            (form.length > 1 && (byte(1) < form.lowest || byte(1) > form.highest)))
            return 0;
        for (std::size_t i = 2; i < form.length; ++i) {
            if ((byte(i) & 0xC0) != 0x80)
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

    void end()
    {
        std::fputc(closers_[--depth_], stream_);
        first_ = false; // also behind what was empty
    }

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

    void text(const char *key, std::string_view value)
    {
        name(key);
        quoted(value);
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

    void quoted(std::string_view value)
    {
        std::fputc('"', stream_);
        while (!value.empty())
            value.remove_prefix(character(value));
        std::fputc('"', stream_);
    }

    // Writes the character at text and returns the bytes that it took.
    std::size_t character(std::string_view text)
    {
        const std::size_t length = utf8_length(text);
        if (length == 0)
            std::fputs("\\ufffd", stream_);
        else if (text[0] == '"' || text[0] == '\\')
            std::fprintf(stream_, "\\%c", text[0]);
        else if (length == 1 && text[0] < ' ')
            std::fprintf(stream_, "\\u%04x", static_cast<unsigned>(text[0]));
        else
            std::fwrite(text.data(), 1, length, stream_);
        return length == 0 ? 1 : length;
    }

    FILE *stream_;
    char closers_[8] = {};
    int depth_ = 0;
    bool first_ = true;
};

} // namespace plexor::ctl
