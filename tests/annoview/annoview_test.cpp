// annoview as its users run it: the bundled sample renders as checked in,
// the HTML page is well-formed and carries the styled spans, and bad input
// ends with exit status 2 and a message naming file, line and column, with
// nothing rendered.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Outcome {
    int status;
    std::string out;  // stdout, then stderr
};

Outcome Annoview(const std::string& arguments, bool withErrors = false) {
    const std::string command = std::string(ANNOVIEW_PATH) + " " + arguments + (withErrors ? " 2>&1" : " 2>/dev/null");
    FILE* pipe = popen(command.c_str(), "r");
    Outcome run{-1, ""};
    if (pipe == nullptr) return run;
    char buffer[4096];
    size_t got = 0;
    while ((got = fread(buffer, 1, sizeof buffer, pipe)) > 0) run.out.append(buffer, got);
    const int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    return all.str();
}

std::string WriteTemp(const std::string& name, const std::string& contents) {
    const std::string path = ::testing::TempDir() + name;
    std::ofstream(path, std::ios::binary) << contents;
    return path;
}

// Checks that every tag is closed in order (void elements and the doctype
// aside); counts the spans with a given opening text.
::testing::AssertionResult WellFormed(const std::string& html) {
    std::vector<std::string> open;
    for (size_t at = html.find('<'); at != std::string::npos; at = html.find('<', at + 1)) {
        const size_t end = html.find('>', at);
        if (end == std::string::npos) return ::testing::AssertionFailure() << "unclosed '<' at " << at;
        const std::string tag = html.substr(at + 1, end - at - 1);
        if (tag.empty() || tag[0] == '!') continue;
        const std::string name = tag.substr(tag[0] == '/' ? 1 : 0, tag.find_first_of(" />", 1) - (tag[0] == '/' ? 1 : 0));
        if (name == "meta" || name == "br") continue;
        if (tag[0] != '/') {
            open.push_back(name);
        } else if (open.empty() || open.back() != name) {
            return ::testing::AssertionFailure() << "</" << name << "> closes " << (open.empty() ? "nothing" : open.back());
        } else {
            open.pop_back();
        }
    }
    if (!open.empty()) return ::testing::AssertionFailure() << "<" << open.back() << "> never closed";
    return ::testing::AssertionSuccess();
}

TEST(Annoview, SampleRendersAsCheckedIn) {
    const Outcome run = Annoview("--format text");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, ReadFile(ANNOVIEW_TEST_DIR "/sample.txt"));
}

TEST(Annoview, HtmlPageIsWellFormedWithStyledSpans) {
    const Outcome run = Annoview("--format html");
    ASSERT_EQ(run.status, 0);
    EXPECT_TRUE(WellFormed(run.out));
    // The fox in the document's style 7, with its user id as a tooltip; the
    // inserted text marked; hidden text left out.
    EXPECT_NE(run.out.find("<span class=\"hilite\" style=\"background:#ffd1dc;color:#8b0000;\" title=\"id 1\">fox</span>"),
              std::string::npos);
    EXPECT_NE(run.out.find("<ins> and clever</ins>"), std::string::npos);
    EXPECT_EQ(run.out.find("vanish"), std::string::npos);
}

TEST(Annoview, BadInputNamesFileLineAndColumnAndRendersNothing) {
    const std::string document = WriteTemp("doc.txt", "One fox here.\nTwo.\n");
    const std::string badCommand = WriteTemp("bad1.script", "hilite \"fox\" color 1 2\nfrobnicate 3\nshow\n");
    Outcome run = Annoview(document + " " + badCommand, true);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, badCommand + ":2:1: unknown command 'frobnicate'\n");

    const std::string pastEnd = WriteTemp("bad2.script", "show\nhide 3..400\n");
    run = Annoview(document + " " + pastEnd, true);
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.out.find(pastEnd + ":2:6: offset 400 is past the end"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("---"), std::string::npos);  // nothing rendered

    const std::string badDocument = WriteTemp("bad.doc", "fine\nnot {fine\n");
    run = Annoview(badDocument, true);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out.rfind(badDocument + ":2:", 0), 0u) << run.out;

    run = Annoview(::testing::TempDir() + "no-such-file.txt", true);
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.out.find("no-such-file.txt:1:1: cannot read the file"), std::string::npos);

    // A module refusal is shown by its constant's name; the run goes on.
    const std::string refused = WriteTemp("refused.script", "style doc 3\nfind first\n");
    run = Annoview(document + " " + refused);
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("find first: ANERR_NOTFOUND"), std::string::npos) << run.out;
}

}  // namespace
