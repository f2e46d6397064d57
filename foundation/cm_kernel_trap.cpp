// Reports of serious conditions, and the traps that end a program.
#include <foundation/messages.h>

#include <foundation/trace_scope.h>
#include <foundation/version.h>
#include <tamba/messages.h>

#include <cstdio>
#include <cstdlib>

void trap_db_err(const char *statement, const char *result, TraceContext ctx, int32_t fatal)
{
    const char *const what = text_or_empty(statement);
    const char *const outcome = text_or_empty(result);
    TraceScope scope(ctx, kTraceMain, "+++ ZDL TRAP_DB_ERR in %s  %s  %s", kLibraryVersion, what, outcome);
    prot_message<Msg::kUnexpectedResult>(what, outcome);
    if (!fatal) {
        scope.leave(0, "--- ZDL TRAP_DB_ERR returns to caller");
        return;
    }
    scope.leave(1, "--- ZDL TRAP_DB_ERR exits with 1");
    std::printf("STATUS=ERROR MSG=\"%s: %s\"\n", what, outcome);
    std::exit(1);
}

void trap_file_open_err(const char *file, const char *program, const char *mode, TraceContext ctx)
{
    const char *const name = text_or_empty(file);
    const char *const who = text_or_empty(program);
    const char *const how = text_or_empty(mode);
    TraceScope scope(ctx, kTraceMain, "+++ ZDL TRAP_FILE_OPEN_ERROR in %s  %s  %s ", kLibraryVersion, name,
                     who);
    prot_message<Msg::kFileOpen>(who, name, how);
    // The alarm "tb_alarm <program> "ERROR_OPEN_FILE <file> <mode>"" is not raised: the program that ends
    // says it.
    scope.leave(1, "--- ZDL TRAP_FILE_OPEN_ERROR exits with 1");
    std::printf("STATUS=ERROR MSG=\"%s:ERROR_OPEN_FILE %s %s\"\n", who, name, how);
    std::exit(1);
}

void trap_par_err(const char *program, int32_t fatal)
{
    FixedText<128> name(text_or_empty(program));
    for (char *c = name.data(); *c; ++c)
        *c = ascii_lower(*c);
    FixedText<256> format(message_format(Msg::kParametersMissing));
    format.append(": tb_%s -h");
    PROT(format.c_str(), name.c_str());
    if (!fatal)
        return;
    std::printf("STATUS=ERROR MSG=\"%s: tb_%s -h\"\n", message_format(Msg::kParametersMissing), name.c_str());
    std::exit(0);
}
