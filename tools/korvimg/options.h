// Command-line options of the subcommands: long options with a value (--name value or
// --name=value), flags, one-letter short forms (grouped as in -qj2 or -qo OUT),
// positionals, and "--" to end options.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace kvcli {

struct OptionSpec {
    const char *name;        // long name without the dashes
    char short_name;         // 0: none
    const char *value_name;  // null: a flag
    const char *help;
};

class Arguments {
  public:
    bool has(const std::string &name) const { return values_.count(name) != 0; }
    std::string get(const std::string &name, const std::string &fallback = "") const {
        auto it = values_.find(name);
        return it == values_.end() ? fallback : it->second;
    }
    const std::vector<std::string> &positional() const { return positional_; }
    // The option as the user wrote it, for messages about its value: "-d" for -d 7 or
    // -qd7, "--out-depth" for --out-depth 7 (and for an option not given).
    std::string written(const std::string &name) const {
        auto it = written_.find(name);
        return it == written_.end() ? "--" + name : it->second;
    }

  private:
    friend Arguments parse_arguments(const std::vector<std::string> &, const std::vector<OptionSpec> &);
    std::map<std::string, std::string> values_;  // flags map to ""
    std::map<std::string, std::string> written_;
    std::vector<std::string> positional_;
};

// Throws a usage error for an unknown option or a missing value.
Arguments parse_arguments(const std::vector<std::string> &args, const std::vector<OptionSpec> &specs);
std::string help_text(const std::string &usage, const std::string &description, const std::vector<OptionSpec> &specs);

// Value parsers; each throws a usage error naming the option.
long long parse_integer(const std::string &text, const std::string &option, long long lo, long long hi);
double parse_number(const std::string &text, const std::string &option);
std::vector<double> parse_numbers(const std::string &text, const std::string &option, size_t count);
// `count` comma-separated whole numbers from lo to hi.
std::vector<long long> parse_integers(const std::string &text, const std::string &option, size_t count, long long lo,
                                      long long hi);
// One of the choices; its index.
int parse_choice(const std::string &text, const std::string &option, const std::vector<std::string> &choices);

}  // namespace kvcli
