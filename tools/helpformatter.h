#ifndef HELPFORMATTER_H
#define HELPFORMATTER_H

#include <CLI/CLI.hpp>

#include <string>

namespace tarvexctl {

/// Lays the help texts out for a terminal of 80 columns. Lines end between words. Each help ends with the exit
/// statuses, after the verb's own footer.
class HelpFormatter : public CLI::Formatter
{
public:
    HelpFormatter();

    std::string make_description(const CLI::App* app) const override;
    std::string make_usage(const CLI::App* app, std::string name) const override;
    std::string make_group(std::string group, bool isPositional,
                           std::vector<const CLI::Option*> options) const override;
    std::string make_option(const CLI::Option* option, bool isPositional) const override;
    std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const override;
    std::string make_footer(const CLI::App* app) const override;
};

} // namespace tarvexctl

#endif // HELPFORMATTER_H
