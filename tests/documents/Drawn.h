#ifndef DRAWN_H
#define DRAWN_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

/// The numbers of one drawing, as docs/semantics/NAME.txt holds them: a line that says what they are, the
/// columns' names, and a row a line, with tabs between.
class Drawn {
public:
    Drawn(const std::string& what, const std::vector<std::string>& columns) {
        text_ << "# " << what << '\n';
        addRow(columns);
    }

    template <typename... Values>
    void row(const Values&... values) {
        std::vector<std::string> texts;
        (texts.push_back(textOf(values)), ...);
        addRow(texts);
    }

    /// Compares them with the committed file, or writes them into the folder that tools/pictures/semantics
    /// names.
    void expectCommitted(const std::string& name) const {
        const char* const folder = std::getenv("RUXOGPS_SEMANTICS");
        if (folder != nullptr)
            EXPECT_TRUE(
                static_cast<bool>(std::ofstream(std::string(folder) + "/" + name + ".txt") << text_.str()));
        else
            expectSame(RUXOGPS_DRAWN "/" + name + ".txt");
    }

private:
    static std::string textOf(const std::string& value) { return value; }
    static std::string textOf(const char* value) { return value; }
    template <typename Number>
    static std::string textOf(Number value) {
        std::ostringstream text;
        text << value;
        return text.str();
    }

    /// Says the first line that differs: a whole file would bury it.
    void expectSame(const std::string& path) const {
        std::ifstream committed(path);
        std::istringstream drawn(text_.str());
        for (int line = 1; committed || drawn; ++line) {
            std::string expected;
            std::string actual;
            std::getline(committed, expected);
            std::getline(drawn, actual);
            ASSERT_EQ(actual, expected) << "in line " << line << " of " << path
                                        << ": tools/pictures/semantics draws anew what the library does";
        }
    }

    void addRow(const std::vector<std::string>& cells) {
        const char* gap = "";
        for (const std::string& cell : cells) {
            text_ << gap << cell;
            gap = "\t";
        }
        text_ << '\n';
    }

    std::ostringstream text_;
};

#endif
