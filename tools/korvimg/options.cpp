#include "options.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

#include "failure.h"

namespace kvcli {

namespace {

const OptionSpec *short_spec(const std::vector<OptionSpec> &specs, char c) {
    for (const auto &s : specs)
        if (s.short_name == c) return &s;
    return nullptr;
}

// A word of short options (-qh, -qj2, -qo OUT): its flags, up to the first option
// that takes a value, which takes the rest of the word or else the next one. It stops
// at a letter that is no option.
struct ShortWord {
    std::vector<const OptionSpec *> flags;
    const OptionSpec *with_value = nullptr;
    size_t value_at = 0;  // where the value begins in the word
    size_t unknown_at = 0;  // the letter that is no option, or 0
};

ShortWord short_word(const std::string &word, const std::vector<OptionSpec> &specs) {
    ShortWord w;
    for (size_t k = 1; k < word.size(); ++k) {
        const OptionSpec *s = short_spec(specs, word[k]);
        if (s == nullptr) {
            w.unknown_at = k;
            break;
        }
        if (s->value_name != nullptr) {
            w.with_value = s;
            w.value_at = k + 1;
            break;
        }
        w.flags.push_back(s);
    }
    return w;
}

bool is_short_word(const std::string &a) { return a.size() >= 2 && a[0] == '-' && a[1] != '-'; }

}  // namespace

Arguments parse_arguments(const std::vector<std::string> &args, const std::vector<OptionSpec> &specs) {
    Arguments out;
    // --help (or -h, alone or among other short flags) anywhere before "--" asks for
    // help whatever else is there.
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &a = args[i];
        if (a == "--") break;
        bool help = a == "--help";
        if (is_short_word(a)) {
            const ShortWord w = short_word(a, specs);
            for (const OptionSpec *s : w.flags) help = help || std::string(s->name) == "help";
            if (w.with_value != nullptr && w.value_at == a.size()) ++i;  // the next word is its value
        }
        if (help) {
            for (const auto &s : specs)
                if (std::string(s.name) == "help") {
                    out.values_["help"] = "";
                    return out;
                }
        }
    }
    bool options_done = false;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string &a = args[i];
        if (options_done || a.size() < 2 || a[0] != '-') {
            out.positional_.push_back(a);
            continue;
        }
        if (a == "--") {
            options_done = true;
            continue;
        }
        const OptionSpec *spec = nullptr;
        std::string value;
        bool inline_value = false;
        if (a[1] == '-') {
            const size_t eq = a.find('=');
            const std::string name = a.substr(2, eq == std::string::npos ? std::string::npos : eq - 2);
            if (eq != std::string::npos) {
                value = a.substr(eq + 1);
                inline_value = true;
            }
            for (const auto &s : specs)
                if (name == s.name) spec = &s;
        } else {
            // -q, -qj2, -oOUT, -qo OUT: flags, and an option with a value last.
            const ShortWord w = short_word(a, specs);
            if (w.unknown_at != 0) {
                // The whole character, when it takes several bytes (UTF-8).
                size_t end = w.unknown_at + 1;
                if (static_cast<unsigned char>(a[w.unknown_at]) >= 0xc0)
                    while (end < a.size() && (static_cast<unsigned char>(a[end]) & 0xc0) == 0x80) ++end;
                const std::string letter = a.substr(w.unknown_at, end - w.unknown_at);
                throw usage_error("unknown option " + (letter == "-" ? std::string("letter '-'") : "-" + letter) +
                                  (a.size() > end - w.unknown_at + 1 ? " in " + a : ""));
            }
            for (const OptionSpec *flag : w.flags) out.values_[flag->name] = "";
            spec = w.with_value;
            if (spec == nullptr) continue;
            if (w.value_at < a.size()) {
                value = a.substr(w.value_at);
                inline_value = true;
            }
        }
        if (spec == nullptr) throw usage_error("unknown option " + a);
        // Named as written: --threads or -j, and for a problem found here also the group
        // of letters it came in (-j (in -qj)).
        const std::string written = a[1] == '-' ? std::string("--") + spec->name : std::string("-") + spec->short_name;
        const std::string shown = written + (a[1] != '-' && a.size() > 2 ? " (in " + a + ")" : "");
        if (spec->value_name == nullptr) {
            if (inline_value) throw usage_error(shown + " takes no value");
        } else if (!inline_value) {
            if (i + 1 >= args.size()) throw usage_error(shown + " needs a value (" + spec->value_name + ")");
            value = args[++i];
        }
        out.values_[spec->name] = value;
        out.written_[spec->name] = written;
    }
    return out;
}

std::string help_text(const std::string &usage, const std::string &description, const std::vector<OptionSpec> &specs) {
    std::string out = "usage: " + usage + "\n\n" + description + "\n";
    if (specs.empty()) return out;
    out += "\noptions:\n";
    for (const auto &s : specs) {
        std::string left = "  ";
        left += s.short_name != 0 ? std::string("-") + s.short_name + ", " : "    ";
        left += std::string("--") + s.name;
        if (s.value_name != nullptr) left += std::string(" ") + s.value_name;
        if (left.size() < 30) left.resize(30, ' ');
        else left += "\n" + std::string(30, ' ');
        // Continuation lines of the help text are indented under the first.
        std::string help;
        for (const char *p = s.help; *p != '\0'; ++p) {
            help += *p;
            if (*p == '\n') help += std::string(30, ' ');
        }
        out += left + help + "\n";
    }
    return out;
}

long long parse_integer(const std::string &text, const std::string &option, long long lo, long long hi) {
    errno = 0;
    char *end = nullptr;
    const long long v = std::strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || v < lo || v > hi)
        throw usage_error(option + ": expected a whole number from " + std::to_string(lo) + " to " +
                          std::to_string(hi) + ", got '" + text + "'");
    return v;
}

double parse_number(const std::string &text, const std::string &option) {
    errno = 0;
    char *end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno != 0 || !std::isfinite(v))
        throw usage_error(option + ": expected a number, got '" + text + "'");
    return v;
}

namespace {

// The `count` comma-separated items of a list option, each parsed by `parse`.
template <class Parse>
auto parse_list(const std::string &text, const std::string &option, size_t count, const char *what, Parse parse) {
    std::vector<decltype(parse(text))> out;
    size_t start = 0;
    while (true) {
        const size_t comma = text.find(',', start);
        out.push_back(parse(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start)));
        if (comma == std::string::npos) break;
        start = comma + 1;
    }
    if (out.size() != count)
        throw usage_error(option + ": expected " + std::to_string(count) + " comma-separated " + what + ", got " +
                          std::to_string(out.size()));
    return out;
}

}  // namespace

std::vector<double> parse_numbers(const std::string &text, const std::string &option, size_t count) {
    return parse_list(text, option, count, "numbers", [&](const std::string &item) { return parse_number(item, option); });
}

std::vector<long long> parse_integers(const std::string &text, const std::string &option, size_t count, long long lo,
                                      long long hi) {
    return parse_list(text, option, count, "whole numbers",
                      [&](const std::string &item) { return parse_integer(item, option, lo, hi); });
}

int parse_choice(const std::string &text, const std::string &option, const std::vector<std::string> &choices) {
    for (size_t i = 0; i < choices.size(); ++i)
        if (text == choices[i]) return static_cast<int>(i);
    std::string list;
    for (const auto &c : choices) list += (list.empty() ? "" : "|") + c;
    throw usage_error(option + ": expected " + list + ", got '" + text + "'");
}

}  // namespace kvcli
