// SPDX-License-Identifier: MIT
// Configures, starts and stops nginx.
#include "desk/file_server.h"

#include "desk/files.h"
#include "desk/loopback.h"

namespace desk {
namespace {

namespace fs = std::filesystem;

constexpr const char *kCrawlMark = "crawl";

// One process without a master: nothing changes its user, and one process id stops it.
const char *const kHead = R"(daemon off;
master_process off;
pid nginx.pid;
error_log error.log;
events { worker_connections 32; }
http {
    access_log access.log;
    client_body_temp_path body;
    proxy_temp_path proxy;
    fastcgi_temp_path fastcgi;
    uwsgi_temp_path uwsgi;
    scgi_temp_path scgi;
    default_type application/octet-stream;
    # The server closes first, so that the wait of a closed connection stays on this side: the
    # agent comes from sixteen local ports only.
    keepalive_timeout 0;
    server {
)";

// nginx takes "$" in a path for a variable, so its paths begin at its own folder, where only names
// of the desk follow.
std::string fromFolder(const FileServerSetup &setup, const fs::path &file) {
    return file.lexically_relative(setup.folder).string();
}

} // namespace

FileServer::FileServer(const FileServerSetup &setup, const Interrupt &interrupt)
    : folder_(setup.folder), scheme_(setup.certificates ? "https" : "http"),
      imageName_(setup.image.filename().string()), port_(freePort()) {
    fs::create_directories(setup.folder / "www" / "slow");
    fs::create_symlink(setup.image, setup.folder / "www" / imageName_);
    fs::create_symlink(setup.image, setup.folder / "www" / "slow" / imageName_);
    writeConfiguration(setup);
    writeFile(setup.folder / kCrawlMark, "");
    process_ =
        Child(Launch{{systemProgram("nginx"), "-p", ".", "-c", "nginx.conf", "-e", "error.log"},
                     setup.folder,
                     setup.folder / "nginx.log"});
    // Started without a folder that it may write in, it says so in the second file.
    waitUntilListening(process_, port_, "the file server (nginx)", setup.folder / "error.log",
                       interrupt);
}

void FileServer::endCrawl() const { fs::remove(folder_ / kCrawlMark); }

std::string FileServer::address() const {
    return scheme_ + "://127.0.0.1:" + std::to_string(port_);
}

void FileServer::writeConfiguration(const FileServerSetup &setup) const {
    std::string text = kHead;
    text += "        listen 127.0.0.1:" + std::to_string(port_) +
            (setup.certificates ? " ssl" : "") + ";\n";
    if (setup.certificates) {
        text += "        ssl_certificate " + fromFolder(setup, setup.certificates->server) + ";\n" +
                "        ssl_certificate_key " + fromFolder(setup, setup.certificates->serverKey) +
                ";\n";
    }
    text += "        root www;\n";
    if (setup.refuses) {
        text += "        location / { return 503; }\n";
    } else {
        text += "        location / { limit_rate " + std::to_string(setup.bytesPerSecond) +
                "; }\n"
                "        location /slow/ {\n"
                "            limit_rate " +
                std::to_string(setup.bytesPerSecond) +
                ";\n"
                "            if (-f crawl) { set $limit_rate 16k; }\n"
                "        }\n";
    }
    writeFile(setup.folder / "nginx.conf", text + "    }\n}\n");
}

} // namespace desk
