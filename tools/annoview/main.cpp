// annoview: shows the annotation module at work the way a document viewer
// uses it. It opens a document (the stand-in engine's description format; a
// plain text is one), carries out an annotation script and renders the
// document as a display engine lays it out.
//
//   annoview                          the bundled sample
//   annoview DOCUMENT [SCRIPT]        a document, annotated by a script
//   --format ansi|text|html           ANSI colour (the default on a
//                                     terminal), plain text with markers
//                                     (otherwise), or an HTML page
//
// Bad input (an unreadable file, a description or script that does not
// parse, an offset past the end) is reported on stderr as file:line:column
// with exit status 2, and nothing is rendered.
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include "render.h"
#include "sample.h"
#include "script.h"
#include "session.h"

namespace {

constexpr int kBadInput = 2;

const char* const kUsage =
    "usage: annoview [--format ansi|text|html] [DOCUMENT [SCRIPT]]\n"
    "With no files, annoview shows its bundled sample.\n";

bool ReadFile(const std::string& path, std::string& contents) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream all;
    all << in.rdbuf();
    contents = all.str();
    return !in.bad();
}

int Fail(const std::string& file, int line, int column, const std::string& message) {
    std::cerr << file << ":" << line << ":" << column << ": " << message << "\n";
    return kBadInput;
}

}  // namespace

int main(int argc, char** argv) {
    annoview::Format format = isatty(STDOUT_FILENO) != 0 ? annoview::Format::kAnsi : annoview::Format::kText;
    std::string files[2];
    int fileCount = 0;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--format" && i + 1 < argc) {
            const std::string name = argv[++i];
            if (name == "ansi") {
                format = annoview::Format::kAnsi;
            } else if (name == "text") {
                format = annoview::Format::kText;
            } else if (name == "html") {
                format = annoview::Format::kHtml;
            } else {
                std::cerr << "annoview: unknown format '" << name << "'\n" << kUsage;
                return kBadInput;
            }
        } else if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            return 0;
        } else if (fileCount < 2 && (arg.empty() || arg[0] != '-')) {
            files[fileCount++] = arg;
        } else {
            std::cerr << "annoview: unexpected argument '" << arg << "'\n" << kUsage;
            return kBadInput;
        }
    }

    std::string documentName = "sample document", scriptName = "sample script";
    std::string description = annoview::kSampleDocument, script = annoview::kSampleScript;
    if (fileCount >= 1) {
        documentName = files[0];
        script.clear();
        scriptName = "(no script)";
        if (!ReadFile(files[0], description)) return Fail(files[0], 1, 1, "cannot read the file");
    }
    if (fileCount == 2) {
        scriptName = files[1];
        if (!ReadFile(files[1], script)) return Fail(files[1], 1, 1, "cannot read the file");
    }

    // The whole script runs before anything is written, so that bad input
    // leaves no partial rendering.
    std::string output;
    try {
        std::unique_ptr<annoview::Session> session;
        try {
            session = std::make_unique<annoview::Session>(description);
        } catch (const annoview::InputError& error) {
            return Fail(documentName, error.line, error.column, error.what());
        }
        try {
            session->Run(script);
        } catch (const annoview::InputError& error) {
            return Fail(scriptName, error.line, error.column, error.what());
        }
        output = annoview::Render(session->blocks(), format);
    } catch (const std::exception& error) {
        std::cerr << "annoview: " << error.what() << "\n";
        return 1;
    }
    std::cout << output;
    return 0;
}
