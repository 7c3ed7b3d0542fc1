// A user of the program library alone, who lists a program.
#include <fenletir/program_builder.h>
#include <fenletir/text.h>

#include <cstdio>

int main() {
    Fenlet::ProgramBuilder builder;
    builder.output(builder.elementIndex(), "index");
    const std::string text = Fenlet::listing(builder.build().program);
    std::printf("%s", text.c_str());
    return text.find("ElementIndex") == text.npos ? 1 : 0;
}
