#pragma once

#include <locale>

/// Writes 12345 as "12,345", as the locales of many languages do.
inline std::locale GroupingLocale() {
    struct Thousands : std::numpunct<char> {
        std::string do_grouping() const override { return "\3"; }
    };
    return {std::locale::classic(), new Thousands};
}
