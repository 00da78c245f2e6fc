// SPDX-License-Identifier: MIT
// A real broker with TLS on a free port of loopback, and what else can stand at such a port.
#ifndef TESTS_SERVICE_UPLINK_BROKER_H
#define TESTS_SERVICE_UPLINK_BROKER_H

#include <filesystem>
#include <string>
#include <sys/types.h>

/* "<name>.pem" and "<name>.key": an authority, and a certificate signed by one. */
void makeAuthority(const std::filesystem::path &folder, const std::string &name);
void makeCertificate(const std::filesystem::path &folder, const std::string &authority,
                     const std::string &name, const std::string &subject,
                     const std::string &alternativeName);

/* A port on 127.0.0.1 that nobody listens on. */
int freePort();

/* Sessions and what waits in them survive its end. */
class Broker {
  public:
    /* The folder holds "ca.pem" and the certificate "<certificate>.pem"; not started yet. */
    Broker(std::filesystem::path folder, std::string certificate = "server");
    ~Broker() { end(); }
    Broker(const Broker &) = delete;
    Broker &operator=(const Broker &) = delete;

    int port() const { return port_; }
    /* Lines for its configuration, before start(). */
    void configure(const std::string &lines) { lines_ += lines; }
    /* Returns once it listens. */
    void start();
    /* As on a shut-down. */
    void stop();
    /* It does not answer until it goes on, or is ended as by a power cut. */
    void freeze();
    void goOn();
    void end();

  private:
    std::filesystem::path folder_;
    std::string certificate_, lines_;
    int port_;
    pid_t child_ = -1;
};

/* Takes connections and never says a word; with a full queue not even that: packets are lost. */
class SilentServer {
  public:
    explicit SilentServer(bool withFullQueue);
    ~SilentServer();
    SilentServer(const SilentServer &) = delete;
    SilentServer &operator=(const SilentServer &) = delete;
    int port() const { return port_; }

  private:
    int listener_ = -1, first_ = -1, second_ = -1, port_ = 0;
};

#endif
