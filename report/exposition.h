// SPDX-License-Identifier: MIT
// Figures in the text format that Prometheus and its node exporter read.
#ifndef REPORT_EXPOSITION_H
#define REPORT_EXPOSITION_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace report {

using Labels = std::vector<std::pair<const char *, std::string>>;

class Exposition {
  public:
    enum class Type { counter, gauge };

    /* What the figures from here on are. `name` is without the prefix "otaswagent_"; a counter's
     * ends in "_total". A family without a figure is left out. */
    void family(const char *name, Type type, const char *help);
    /* Values of labels may hold whatever came from outside: they are printable ASCII here. */
    void figure(const Labels &labels, std::uint64_t number);
    /* Of milliseconds, as seconds. */
    void seconds(const Labels &labels, std::uint64_t milliseconds);

    const std::string &text() const { return text_; }

  private:
    void line(const Labels &labels, const std::string &value);

    std::string name_;
    std::string head_; // of the family, until its first figure
    std::string text_;
};

} // namespace report

#endif
