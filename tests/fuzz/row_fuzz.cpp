// SPDX-License-Identifier: Apache-2.0
// tests/fuzz/row_fuzz.cpp - rows and JSON with anything in them, read as values and as a record.
#include <fuzzer/FuzzedDataProvider.h>
#include <json/value.h>
#include <strings.h>

#include <optional>
#include <vector>

#include "fuzz_root.h"
#include "package/json.h"
#include "utils/sample_record.h"

namespace {

using Field = std::optional<std::string>; ///< empty: NULL

Field TakeField(FuzzedDataProvider& input)
{
    switch (input.ConsumeIntegralInRange(0, 3)) {
    case 0:
        return std::nullopt;
    case 1:
        return std::to_string(input.ConsumeIntegral<long long>());
    default:
        return input.ConsumeRandomLengthString(64);
    }
}

std::string Literal(const Field& field)
{
    return field ? VxDB::QuoteEscape(*field) : "NULL";
}

// What each type makes of a field, written down a second time and as slow as it likes.
long long NumberOf(const Field& field)
{
    return field ? std::strtoll(field->c_str(), nullptr, 10) : 0;
}
bool TruthOf(const Field& field)
{
    return field && (::strcasecmp(field->c_str(), "t") == 0 || ::strcasecmp(field->c_str(), "true") == 0 ||
                     NumberOf(field) != 0);
}
unsigned int BitsOf(const Field& field)
{
    const std::string digits = "0123456789ABCDEF";
    const std::size_t digit = field && !field->empty() ? digits.find(field->back()) : std::string::npos;
    return digit == std::string::npos ? 0 : static_cast<unsigned int>(digit % 8);
}

template <typename T>
T Read(const Rows& rows, const char* column, unsigned int row = 0)
{
    T value{};
    VxDB::SqlConversion<T>::FromSqlResult(value, rows.Get(), row, column);
    return value;
}

template <typename... Numbers>
void CheckNumbers(const Rows& rows, const char* column, long long number)
{
    (Require(Read<Numbers>(rows, column) == static_cast<Numbers>(number), "a number is cut to its type"),
     ...);
}

void CheckAbsent(const Rows& rows, const char* column, unsigned int row)
{
    Require(VxDBFetchField(rows.Get(), row, column) == nullptr, "a field that is not there is null");
    Require(Read<long long>(rows, column, row) == 0, "... and the number 0");
    Require(!Read<bool>(rows, column, row), "... and false");
    Require(Read<std::string>(rows, column, row).empty(), "... and an empty text");
    Require(Read<std::bitset<3>>(rows, column, row).none(), "... and no bit");
}

// Catches: a field whose bytes or name end the program, or are read as something else than agreed.
void CheckConversions(const Field& field, const std::string& name)
{
    std::string quoted = "\"";
    for (const char c : name) {
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    }
    const Rows rows("SELECT " + Literal(field) + " AS " + quoted + "\"");
    CheckNumbers<signed char, unsigned char, short, unsigned short, int, unsigned int, long long,
                 unsigned long long, LEVEL>(rows, name.c_str(), NumberOf(field));
    Require(VxDB::FetchFieldAsBool(rows.Get(), 0, name.c_str()) == TruthOf(field), "truth is read as agreed");
    Require(Read<bool>(rows, name.c_str()) == TruthOf(field), "truth is converted as agreed");
    Require(Read<std::string>(rows, name.c_str()) == field.value_or(""), "a text is kept");
    Require(Read<std::bitset<3>>(rows, name.c_str()) == BitsOf(field), "bits are the last digit's");
    Require((VxDBFetchField(rows.Get(), 0, name.c_str()) == nullptr) == !field, "only NULL is null");
    CheckAbsent(rows, (name + "x").c_str(), 0);
    CheckAbsent(rows, name.c_str(), 1);
}

// Catches: a record that a strange row leaves half, or that its own JSON does not bring back.
void CheckRecord(const std::vector<Field>& fields, const Sample& rec)
{
    Require(rec.Get<SAMPLE_SMALL>() == static_cast<signed char>(NumberOf(fields[0])), "small is loaded");
    Require(rec.Get<SAMPLE_WORD>() == static_cast<unsigned int>(NumberOf(fields[1])), "word is loaded");
    Require(rec.Get<SAMPLE_BIG>() == NumberOf(fields[2]), "big is loaded");
    Require(rec.Get<SAMPLE_FLAG>() == TruthOf(fields[3]), "flag is loaded");
    Require(rec.Get<SAMPLE_NAME>() == fields[4].value_or(""), "name is loaded");
    Require(rec.Get<SAMPLE_LEVEL>() == static_cast<LEVEL>(NumberOf(fields[5])), "level is loaded");
    Require(rec.Get<SAMPLE_BITS>() == BitsOf(fields[6]), "bits are loaded");
}

Sample LoadRow(const std::vector<Field>& fields)
{
    std::string row = "(SELECT 7 AS id";
    std::size_t next = 0;
    for (const char* const column : {"small", "word", "big", "flag", "name", "level", "bits"}) {
        row += "," + Literal(fields[next++]) + " AS " + column;
    }
    const SampleMapping mapping(VxDB::DB_SYSTEM, row + ")");
    Sample rec;
    rec.Get<SAMPLE_ID>() = 7;
    Require(mapping.Load(rec) == 0, "any row can be loaded", row);
    std::vector<Sample> all;
    Require(mapping.Enum(all) == 0 && all.size() == 1 && all[0] == rec, "a listed row is the loaded one",
            row);
    return rec;
}

// Catches: JSON that ends the program, sets a field although it is refused, or is not what was written.
void CheckJson(const Sample& rec, const std::string& text)
{
    const SampleMapping mapping(VxDB::DB_SYSTEM, "nowhere");
    Sample copy;
    Require(mapping.FromJson(mapping.ToJson(rec), copy) == 0 && copy == rec, "JSON brings a record back");
    Json::Value json;
    std::string error;
    if (!JsonRead(text, json, error)) {
        Require(!error.empty() && json.isNull(), "text that is no JSON has its error", text);
        return;
    }
    if (mapping.FromJson(json, copy) == 0) {
        Require(json.isObject(), "only an object sets a record", text);
        Sample again = copy;
        Require(mapping.FromJson(json, again) == 0 && again == copy, "the same JSON sets the same", text);
    } else if (!json.isObject()) {
        Require(copy == rec, "what is refused changes nothing", text);
    }
}

} // namespace

/// Seven fields and a column's name, as FuzzedDataProvider cuts them; the rest is JSON text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const FuzzRoot root;
    FuzzedDataProvider input(data, size);
    std::vector<Field> fields(7);
    for (Field& field : fields) {
        field = TakeField(input);
    }
    std::string name = "n" + input.ConsumeRandomLengthString(16);
    std::erase(name, '\0'); // ends a statement; refused
    CheckConversions(fields[0], name);
    const Sample rec = LoadRow(fields);
    CheckRecord(fields, rec);
    CheckJson(rec, input.ConsumeRemainingBytesAsString());
    return 0;
}
