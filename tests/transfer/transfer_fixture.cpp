// SPDX-License-Identifier: MIT
// A started agent whose transfers and shell commands are real.
#include "transfer_fixture.h"

#include <filesystem>
#include <sstream>

namespace ota::test {

namespace {

std::string makeImage() {
    std::string image;
    unsigned state = 1;
    while (image.size() < 300001) {
        state = state * 1103515245U + 12345U;
        image += static_cast<char>(state >> 16);
    }
    return image;
}

std::string nginxConfiguration(int port, const std::string &certificate) {
    std::string text = "daemon off; master_process off; pid nginx.pid; error_log nginx.log;\n"
                       "events { worker_connections 64; }\n"
                       "http {\n access_log off; sendfile on; tcp_nopush on;\n"
                       " keepalive_timeout 0; lingering_close off;\n";
    for (const char *kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
        text += std::string(" ") + kind + "_temp_path temp_" + kind + ";\n";
    }
    text += " server {\n  root www;\n  listen 127.0.0.1:" + std::to_string(port);
    if (!certificate.empty()) {
        text += " ssl;\n  ssl_certificate " + certificate + ".pem;\n  ssl_certificate_key " +
                certificate + ".key";
    }
    return text + ";\n }\n}\n";
}

} // namespace

void RealTransferTest::SetUp() {
    StartedAgentTest::SetUp();
    setenv("no_proxy", "*", 1);
    shell().runsCommands = true;
    curl().isReal = true;
    mImage = makeImage();
    writeFile("gate.img", mImage);
}

void RealTransferTest::TearDown() {
    stopServer();
    while (!curl().realHandles.empty()) { // what the agent left on purpose
        curl_easy_cleanup(*curl().realHandles.begin());
    }
    StartedAgentTest::TearDown();
}

void RealTransferTest::startAnswering(const std::string &certificate) {
    const int port = freePort();
    std::vector<std::string> command{OTA_PYTHON, OTA_ANSWERING_SERVER, std::to_string(port)};
    if (!certificate.empty()) {
        command.insert(command.end(), {certificate + ".pem", certificate + ".key"});
    }
    mServer.emplace(command, port);
}

void RealTransferTest::startNginx(const std::string &certificate) {
    const std::string folder = std::filesystem::current_path().string();
    const int port = freePort();
    std::filesystem::create_directory("www");
    writeFile("www/gate.img", mImage);
    writeFile("nginx.conf", nginxConfiguration(port, certificate));
    mServer.emplace(
        std::vector<std::string>{OTA_NGINX, "-p", folder, "-c", "nginx.conf", "-e", "nginx.log"},
        port);
}

int RealTransferTest::downloadPath(const std::string &path, const std::string &scheme) {
    return downloadUrl(mServer->url(scheme, path));
}

int RealTransferTest::downloadUrl(const std::string &url) {
    setText(AGENT_VAR(swInfo).fileServerURL, url);
    setText(AGENT_VAR(swInfo).nxtMSVersion, "4QZ-2.0");
    journal().clear();
    return AGENT(ota_httpDownLoadFile)(&AGENT_VAR(g_httpInfo));
}

Entries RealTransferTest::outcome() {
    return only(journal().actions(), {"startTimer", "stopTimer", "evbus"});
}

std::string RealTransferTest::transferError() {
    const std::string beginning =
        error("swmgmtitf", "ota_httpDownLoadFile", "curl_easy_perform() failed: ");
    const Entries errors = only(journal().platformLog(), {beginning});
    return errors.empty() ? "no error" : errors.back().substr(beginning.size());
}

std::vector<Request> RealTransferTest::requests() {
    std::istringstream text(contentOf("requests"));
    std::vector<Request> all;
    for (Request request; text >> request.path >> request.clientPort >> request.segmentSize;) {
        all.push_back(request);
    }
    return all;
}

} // namespace ota::test
