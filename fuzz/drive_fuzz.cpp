// What a drive's program says: result lines, answer codes, and the label of the medium.
#include <fuzz/target.h>

#include <backup/drive.h>
#include <foundation/lines.h>

namespace {

FUZZ_TARGET(drive_answer)
{
    ProgramOutput output;
    LineReader lines(input, 4095);
    for (std::string_view line; lines.next(&line);)
        output.take(line);
    promise(output.code() == 0 || input.find(std::to_string(output.code()) + ":") != input.npos,
            "a code stands in the output");

    const std::string text = output.result().message().c_str();
    LabelReading reading;
    if (!parse_label(text, &reading))
        return;
    promise(text.starts_with("Tapelabel"), "a label is announced");
    promise(!reading.label.empty() && reading.label.view().find_first_of(" \t") == std::string_view::npos,
            "a label is one word");
    promise(!reading.worm || text.find("WORM") != text.npos, "the medium says that it is a WORM");
}

} // namespace
