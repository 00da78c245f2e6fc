// SPDX-License-Identifier: MIT
// Ctrl-C and its kin as something that a poll loop can wait for.
#ifndef DESK_INTERRUPT_H
#define DESK_INTERRUPT_H

namespace desk {

// One object for the whole process: SIGINT, SIGTERM and SIGHUP end the run in order, so that
// every child is stopped by the objects that own it.
class Interrupt {
  public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt &) = delete;
    Interrupt &operator=(const Interrupt &) = delete;

    [[nodiscard]] int fd() const { return readEnd_; }
    // Throws a Failure once a signal came.
    void check() const;

  private:
    int readEnd_ = -1;
    int writeEnd_ = -1;
};

} // namespace desk

#endif
