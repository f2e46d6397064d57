// What the demo prints: numbered steps with aligned fields, coloured on a terminal only.
#pragma once

#include <string>
#include <vector>

enum class Tone { plain, faint, good, bad, strong };

class Report {
public:
    Report();

    void title(const std::string &left, const std::string &right);
    void step(const std::string &title, const std::string &explanation);

    // A named field; every line below the other, "-" for none.  Texts are Latin-1, as the library writes them.
    void field(const std::string &name, const std::vector<std::string> &lines, Tone tone = Tone::plain);

    // A claim about the step.  A false one makes the demo fail.
    void check(bool holds, const std::string &claim);

    // The last lines.  Returns whether every claim held.
    bool finish();

private:
    std::string toned(const std::string &text, Tone tone) const;

    const bool colour_;
    int steps_ = 0, claims_ = 0, broken_ = 0;
};
