// SPDX-License-Identifier: MIT
// The stream of a download: few writes, none of them forgotten.
#include "host/download_file.h"
#include "trial_fixture.h"

#include <cerrno>
#include <filesystem>
#include <memory>

namespace {

struct Close {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using Stream = std::unique_ptr<std::FILE, Close>;

class ADownloadsFile : public Trial {
  protected:
    // As much as a record of TLS holds, so often.
    static void write(const Stream &file, int times) {
        const std::string record(16384, 'x');
        for (int i = 0; i < times; ++i) {
            ASSERT_EQ(std::fwrite(record.data(), 1, record.size(), file.get()), record.size());
        }
    }

    std::uintmax_t size() const { return std::filesystem::file_size(in("image")); }
};

TEST_F(ADownloadsFile, IsWrittenInLargePiecesAndIsWholeOnceItsTransferIsOver) {
    for (int i = 0; i < 2; ++i) { // the second one has the memory of the first
        const Stream file(std::fopen(in("image").c_str(), "wb"));
        host::writeInLargePieces(file.get());
        write(file, 7);
        EXPECT_EQ(size(), 0U);
        write(file, 10);
        EXPECT_EQ(size(), 16U * 16384U);
        EXPECT_TRUE(host::writeWhatWaits());
        EXPECT_EQ(size(), 17U * 16384U);
        write(file, 1);
        EXPECT_TRUE(host::writeWhatWaits());
        EXPECT_EQ(textOf("image"), std::string(18 * 16384, 'x'));
    }
}

TEST_F(ADownloadsFile, TellsWhatCouldNotBeWrittenAtLast) {
    const Stream file(std::fopen("/dev/full", "wb"));
    host::writeInLargePieces(file.get());
    write(file, 1);
    EXPECT_FALSE(host::writeWhatWaits());
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(ADownloadsFile, MayBeNone) {
    host::writeInLargePieces(nullptr);
    EXPECT_TRUE(host::writeWhatWaits());
}

} // namespace
