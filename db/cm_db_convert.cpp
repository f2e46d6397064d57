// Pseudo-statements: date values and column names in the form that the database type expects.
#include <db/convert.h>
#include <foundation/glbv.h>
#include <foundation/messages.h>
#include <foundation/trace_scope.h>
#include <tamba/db.h>

extern "C" {
const char *const cpDB_MAX_COL_NAME = "MAX";
}

namespace {

using Value = FixedText<TAMBA_DB_MSG_SIZE>;

constexpr char kMidnight[] = " 00:00:00";
constexpr size_t kDateLength = 10; // YYYY-MM-DD

enum class Type { oracle, sqlite, open_access, postgres, other };

Type type_of(std::string_view name)
{
    if (name == "ORACLE")
        return Type::oracle;
    if (name == "sqlite")
        return Type::sqlite;
    if (name == "OpenAccess")
        return Type::open_access;
    return name == "postgres" ? Type::postgres : Type::other;
}

// A part of the value, or what there is of it.
std::string_view part(std::string_view value, size_t begin, size_t length)
{
    return begin < value.size() ? value.substr(begin, length) : std::string_view();
}

// YYYY-MM-DD to the form of a date column.
Value date_for(Type type, std::string_view value)
{
    Value out;
    switch (type) {
    case Type::oracle:
        out.append(part(value, 0, 4));
        out.append(part(value, 5, 2));
        out.append(part(value, 8, 2));
        break;
    case Type::sqlite:
    case Type::open_access:
    case Type::postgres:
        out.assign(value);
        out.append(kMidnight);
        break;
    case Type::other:
        break;
    }
    return out;
}

// A date column's value for the programs.  The second letter of the type's name alone decides, so that every
// spelling of a type that was ever configured works.
Value date_from(std::string_view type_name, std::string_view value)
{
    Value out;
    switch (type_name.size() > 1 ? type_name[1] : '\0') {
    case 'R':
        out.append(part(value, 0, 4));
        out.append("-");
        out.append(part(value, 4, 2));
        out.append("-");
        out.append(part(value, 6, 2));
        break;
    case 'o':
    case 'p':
    case 'q':
        out.append(part(value, 0, kDateLength));
        out.append(kMidnight);
        break;
    default:
        break;
    }
    return out;
}

// What the type calls the column of a max() without a name of its own.
Value max_column(Type type, std::string_view value)
{
    switch (type) {
    case Type::oracle:
    case Type::sqlite:
        return Value(value);
    case Type::open_access:
        return Value("COL1");
    case Type::postgres:
        return Value("max");
    case Type::other:
        break;
    }
    return {};
}

bool convert(std::string_view key, std::string_view value, Value *out)
{
    GlobalValue type_name;
    read_global("gv_db_type", &type_name);
    const Type type = type_of(type_name.view());
    if (key == "DATE")
        *out = date_for(type, value);
    else if (key == "DATE_TAMBA")
        *out = date_from(type_name.view(), value);
    else if (key == "DATE_TIME_TAMBA")
        *out = type == Type::other ? Value() : Value(value);
    else if (key == cpDB_MAX_COL_NAME)
        *out = max_column(type, value);
    else
        return false;
    return true;
}

} // namespace

bool is_pseudo_statement(const char *sql)
{
    return (sql[0] == 'D' || sql[0] == 'M') && sql[1] == 'A';
}

int32_t convert_value(const char *key, char *msg, TraceContext &trace)
{
    const Value value{std::string_view(text_or_empty(msg), msg ? strnlen(msg, TAMBA_DB_MSG_SIZE) : 0)};
    TraceScope scope(trace, kTraceMain, "+++ DB_CONVERT_DATE_TIME  key=%s  msg=%s", key, value.c_str());
    Value out;
    if (!convert(key, value.view(), &out)) {
        out.format("wrong function-argument: %s", key);
        copy_text(msg, TAMBA_DB_MSG_SIZE, out.view());
        prot_message<Msg::kConversionUnknown>(key);
        return scope.leave(0, "--- DB_CONVERT_DATE_TIME returns 0 msg=%s", out.c_str());
    }
    copy_text(msg, TAMBA_DB_MSG_SIZE, out.view());
    return scope.leave(1, "--- DB_CONVERT_DATE_TIME  returns 1  msg=%s", out.c_str());
}
