// SPDX-License-Identifier: MIT
// otactl as a child process: what it prints, line by line or as a whole, and how it ends.
#ifndef TESTS_CLI_PROGRAM_H
#define TESTS_CLI_PROGRAM_H

#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

class Program {
  public:
    struct Surroundings {
        bool terminal = false;  // standard output (and error) is a terminal of 100 columns
        std::string input = {}; // what standard input holds
        std::map<std::string, std::string> environment = {};
    };

    explicit Program(std::vector<std::string> arguments) : Program(std::move(arguments), {}) {}
    Program(std::vector<std::string> arguments, const Surroundings &around);
    /* Ends it where it still runs. */
    ~Program();
    Program(const Program &) = delete;
    Program &operator=(const Program &) = delete;

    /* The next line without its end; "(end)" where there is none, "(nothing)" after a minute. */
    std::string line();
    /* Reads until the output holds the text; false: it ended or a minute passed without. */
    bool shows(const std::string &text);
    /* Everything that was written so far and is still to come, once it has ended. */
    std::string rest();
    /* The exit code; -1 where it did not end within a minute, or by a signal. */
    int code();
    /* What it wrote on standard error; not on a terminal, where it is part of the output. */
    std::string errors();

  private:
    bool readSome();

    pid_t child_ = -1;
    int code_ = -1;
    int output_ = -1;
    int errors_ = -1;
    std::string text_;
};

struct Ended {
    std::string output, errors;
    int code = -1;
};

/* Runs otactl to its end. */
Ended run(std::vector<std::string> arguments, const Program::Surroundings &around = {});

#endif
