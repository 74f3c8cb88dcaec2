// SPDX-License-Identifier: Apache-2.0
// package/src/db/schema.cpp - which schema belongs to which database and file.
#include "schema_internal.h"

#include <array>

const DbSchema* SchemaOf(VxDB::DB_INSTANCE instance) noexcept
{
    static const std::array<DbSchema, VxDB::DB_INSTANCE_COUNT> schemas{{
        {VxDB::DB_SYSTEM, "system", SystemMigrations()},
        {VxDB::DB_LOG, "log", LogMigrations()},
        {VxDB::DB_EVENT, "event", EventMigrations()},
        {VxDB::DB_ALERT, "alert", AlertMigrations()},
        {VxDB::DB_LAPSE, "lapse", LapseMigrations()},
        {VxDB::DB_DVA, "dva", DvaMigrations()},
        {VxDB::DB_FACE, "face", FaceMigrations()},
    }};
    const auto index = static_cast<unsigned int>(instance);
    return index < schemas.size() ? &schemas[index] : nullptr;
}

const DbSchema* SchemaOfPath(std::string_view path) noexcept
{
    std::string_view name = path.substr(path.rfind('/') + 1);
    if (!name.ends_with(".db")) {
        return nullptr;
    }
    name.remove_suffix(3);
    const std::size_t underscore = name.find('_');
    if (underscore != std::string_view::npos) {
        const std::string_view number = name.substr(underscore + 1);
        if (number.empty() || number.find_first_not_of("0123456789") != std::string_view::npos) {
            return nullptr;
        }
        name = name.substr(0, underscore);
    }
    for (int i = 0; i < VxDB::DB_INSTANCE_COUNT; ++i) {
        const DbSchema* const pSchema = SchemaOf(static_cast<VxDB::DB_INSTANCE>(i));
        if (name == pSchema->name) {
            return pSchema;
        }
    }
    return nullptr;
}
