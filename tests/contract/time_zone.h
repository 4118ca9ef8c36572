// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace plexor::tests
{

// The time zone of this process for as long as the object lives.
class TimeZone
{
  public:
    explicit TimeZone(const char *zone)
    {
        if (const char *before = std::getenv("TZ"))
            before_ = before;
        setenv("TZ", zone, 1);
        tzset();
    }
    TimeZone(const TimeZone &) = delete;
    TimeZone &operator=(const TimeZone &) = delete;
    ~TimeZone()
    {
        if (before_)
            setenv("TZ", before_->c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

  private:
    std::optional<std::string> before_{};
};

} // namespace plexor::tests
