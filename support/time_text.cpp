#include "support/time_text.h"

#include <cstdio>

namespace tarn::support {
namespace {

struct Civil {
    int year;
    unsigned month, day, hour, minute, second;
};

Civil civil(Date date) {
    auto days = std::chrono::floor<std::chrono::days>(date);
    std::chrono::year_month_day ymd{days};
    std::chrono::hh_mm_ss time{date - days};
    return {static_cast<int>(ymd.year()),
            static_cast<unsigned>(ymd.month()),
            static_cast<unsigned>(ymd.day()),
            static_cast<unsigned>(time.hours().count()),
            static_cast<unsigned>(time.minutes().count()),
            static_cast<unsigned>(time.seconds().count())};
}

}  // namespace

std::string iso8601Text(Date date) {
    Civil c = civil(date);
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02uT%02u:%02u:%02uZ", c.year, c.month, c.day,
                  c.hour, c.minute, c.second);
    return buffer;
}

std::optional<Date> parseIso8601(std::string_view text) {
    int year = 0;
    unsigned month = 0, day = 0, hour = 0, minute = 0, second = 0;
    char zone = 0;
    int consumed = 0;
    std::string copy(text);
    if (std::sscanf(copy.c_str(), "%4d-%2u-%2uT%2u:%2u:%2u%c%n", &year, &month, &day, &hour,
                    &minute, &second, &zone, &consumed) != 7 ||
        zone != 'Z' || static_cast<std::size_t>(consumed) != copy.size()) {
        return std::nullopt;
    }
    std::chrono::year_month_day ymd{std::chrono::year{year}, std::chrono::month{month},
                                    std::chrono::day{day}};
    if (!ymd.ok() || hour > 23 || minute > 59 || second > 60) return std::nullopt;
    return std::chrono::sys_days{ymd} + std::chrono::hours{hour} + std::chrono::minutes{minute} +
           std::chrono::seconds{second};
}

std::string fileNameTimestamp() {
    Civil c = civil(std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()));
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%04d%02u%02uT%02u%02u%02uZ", c.year, c.month, c.day,
                  c.hour, c.minute, c.second);
    return buffer;
}

}  // namespace tarn::support
