#include "text_diff.h"

#include <algorithm>
#include <vector>

namespace cli::state {

namespace {

constexpr size_t kContext = 3;

std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        size_t end = text.find('\n', start);
        end = end == std::string::npos ? text.size() : end + 1;
        lines.push_back(text.substr(start, end - start));
        start = end;
    }
    return lines;
}

// One line of the edit script: ' ' kept, '-' removed, '+' added.
struct Edit {
    char mark;
    std::string line;
    size_t oldLine; // the line's number in the old text (or where it goes)
    size_t newLine;
};

// The longest common subsequence table, then a walk from the start.
std::vector<Edit> edit_script(const std::vector<std::string>& a, const std::vector<std::string>& b)
{
    std::vector<std::vector<unsigned>> common(a.size() + 1, std::vector<unsigned>(b.size() + 1, 0));
    for (size_t i = a.size(); i-- > 0;)
        for (size_t j = b.size(); j-- > 0;)
            common[i][j] = a[i] == b[j] ? common[i + 1][j + 1] + 1 : std::max(common[i + 1][j], common[i][j + 1]);
    std::vector<Edit> script;
    size_t i = 0, j = 0;
    while (i < a.size() || j < b.size()) {
        if (i < a.size() && j < b.size() && a[i] == b[j]) {
            script.push_back({' ', a[i], i, j});
            ++i, ++j;
        } else if (j < b.size() && (i == a.size() || common[i][j + 1] >= common[i + 1][j])) {
            script.push_back({'+', b[j], i, j});
            ++j;
        } else {
            script.push_back({'-', a[i], i, j});
            ++i;
        }
    }
    return script;
}

std::string range(size_t start, size_t count)
{
    // An empty range names the line before it, as diff does.
    return std::to_string(count == 0 ? start : start + 1) + (count == 1 ? "" : "," + std::to_string(count));
}

std::string hunk(const std::vector<Edit>& script, size_t first, size_t last)
{
    size_t oldCount = 0, newCount = 0;
    std::string body;
    for (size_t k = first; k < last; ++k) {
        oldCount += script[k].mark != '+';
        newCount += script[k].mark != '-';
        body += script[k].mark + script[k].line;
        if (body.back() != '\n')
            body += "\n\\ No newline at end of file\n";
    }
    return "@@ -" + range(script[first].oldLine, oldCount) + " +" + range(script[first].newLine, newCount) + " @@\n"
           + body;
}

} // namespace

std::string unified_diff(const std::string& path, const std::string& before, const std::string& after)
{
    if (before == after)
        return "";
    const std::vector<Edit> script = edit_script(lines_of(before), lines_of(after));
    std::vector<size_t> changes;
    for (size_t k = 0; k < script.size(); ++k) {
        if (script[k].mark != ' ')
            changes.push_back(k);
    }
    std::string text = "--- " + path + "\n+++ " + path + "\n";
    // Changes closer than two contexts share a hunk.
    for (size_t c = 0; c < changes.size();) {
        size_t last = c;
        while (last + 1 < changes.size() && changes[last + 1] - changes[last] <= 2 * kContext + 1)
            ++last;
        const size_t first = changes[c] >= kContext ? changes[c] - kContext : 0;
        text += hunk(script, first, std::min(script.size(), changes[last] + 1 + kContext));
        c = last + 1;
    }
    return text;
}

} // namespace cli::state
