// SPDX-License-Identifier: MIT
// The page of codes holds the tables of outcomes and of reasons as they are.
#include "base/reason.h"
#include "base/word.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

using namespace base;

namespace {

std::string readPage() {
    std::ostringstream text;
    text << std::ifstream(OTA_CODES_PAGE).rdbuf();
    return text.str();
}

/* From the head of the table to the empty line behind its last row, or the end of the page. */
void expectTable(const std::string &table) {
    const std::string page = readPage();
    const std::size_t begin = page.find(table.substr(0, table.find('\n')));
    ASSERT_NE(begin, std::string::npos) << OTA_CODES_PAGE << " has lost the head of a table";
    const std::size_t rowsEnd = page.find("\n\n", begin);
    const std::size_t end = rowsEnd == std::string::npos ? page.size() : rowsEnd + 1;
    if (std::getenv("OTA_WRITE_DOCS") != nullptr) {
        std::ofstream(OTA_CODES_PAGE) << page.substr(0, begin) << table << page.substr(end);
        return;
    }
    EXPECT_EQ(page.substr(begin, end - begin), table)
        << "run this test with OTA_WRITE_DOCS=1 to write " << OTA_CODES_PAGE << " anew";
}

TEST(CodesPage, HoldsTheTableOfOutcomes) { expectTable(outcomesAsMarkdown()); }

TEST(CodesPage, HoldsTheTableOfReasons) { expectTable(reasonsAsMarkdown()); }

TEST(CodesPage, HoldsTheTableOfStatusWords) { expectTable(wordsAsMarkdown()); }

} // namespace
