// SPDX-License-Identifier: Apache-2.0
// vxlogrotate.h - each log kept within days, rows and megabytes; three of them are archived before rows go.
//
//     VxLogEventRotater rotater;
//     rotater.Run();        // as its settings say, see package/logrotatesettings.h
//
// Messages: category 34, under "log/vxlogrotate". What fails is level 1, what is done 3, how it came about 6.
#pragma once

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "package/db.h"
#include "package/export.h"
#include "package/logrotatesettings.h"

/// Where a log is: fixed for each kind of log.
struct LogTable {
    VX_ROTATED_LOG log;
    VxDB::DB_INSTANCE instance;
    const char* table;
    const char* timeColumn;    ///< seconds since 1970-01-01 UTC
    const char* messageColumn; ///< whose length counts as the size of a row
    const char* name;          ///< what messages call the log
};

/// One log that is rotated. "Bound" below is a time: everything older goes, what is of that second stays.
///
/// Statements run on the caller's thread. The order of the virtual functions is part of the interface.
/// Thread-safety: one thread an object; several processes may rotate the same log.
class VX_API VxLogRotaterBase {
public:
    explicit VxLogRotaterBase(const LogTable& table);
    virtual ~VxLogRotaterBase();
    VxLogRotaterBase(const VxLogRotaterBase&) = delete;
    VxLogRotaterBase& operator=(const VxLogRotaterBase&) = delete;

    /// The bound: by days, or by the limits if that is later and one of them is on.
    virtual int GetTimeUPB() noexcept;
    /// Deletes what is older than the bound. @return 0; -1 (logged): nothing was deleted, but for two logs, see there.
    [[nodiscard]] virtual int Rotate(int timeUPB) noexcept;
    /// Writes what is older than the bound to an archive. @return 0, also when there is nothing; -1 (logged).
    [[nodiscard]] virtual int Archive(int timeUPB, const std::string& archiveDir) noexcept;
    /// Tells who has to know that rows are going. @return 0; -1 (logged).
    [[nodiscard]] virtual int LogAndNotify(int timeUPB) noexcept;
    /// Now less the days of the settings; the nearest 32-bit number when it is none.
    virtual int GetTimeUPBByDays() noexcept;
    /// The time of the oldest row that the limits let stay; 0 when they let all stay, or on failure (logged).
    virtual int GetTimeUPBByLimits() noexcept;
    virtual std::string GetRotateSqlStr(int timeUPB) const;
    virtual std::string GetCountLimitSqlStr() const;
    virtual std::string GetSelectOffsetSqlStr(int offset) const;

    /// One rotation: bound, archive, notification, deletion. A step that fails is logged and the next one goes
    /// on: a log must not fill the volume because its archive cannot be written.
    ///
    /// @return 0 when every step succeeded, or the settings want no rotation; -1 otherwise.
    int Run() noexcept;

    /// What Run() heeds between two batches of a deletion: any value but 1 ends it there, without a failure; the rows
    /// that are left go with the next rotation. The flag outlives this object, and any thread may write it.
    void SetRunFlag(const volatile int& runFlag) noexcept { m_pRunFlag = &runFlag; }

    /// Reads the settings that the functions above go by. Run() does it itself. @return 0; -1 (logged).
    [[nodiscard]] int LoadSettings() noexcept;
    const VxLogRotateSettings& Settings() const noexcept { return m_settings; }
    const LogTable& Table() const noexcept { return m_table; }
    /// How many rows Rotate() would delete now. @return -1 (logged) on failure.
    std::int64_t CountRotated(int timeUPB) const noexcept;

protected:
    /// Runs a statement of this log's database; logs nothing of its own.
    [[nodiscard]] int Execute(const std::string& sql, DBResult_tag** result = nullptr) const noexcept;

    const LogTable m_table;
    VxLogRotateSettings m_settings;

    bool IsToldToStop() const noexcept { return m_pRunFlag != nullptr && *m_pRunFlag != 1; }

private:
    const volatile int* m_pRunFlag = nullptr;
};

/// How many of the oldest rows the limits take, rows being of equal size.
///
/// @param cnt, sizeMB   rows and megabytes of the log; a size of 0 takes none by size
/// @return 0..cnt
VX_API std::int64_t GetLimitOffset(const VxLogRotateSettings& settings, std::int64_t cnt,
                                   std::int64_t sizeMB) noexcept;

/// The event log. Archived as a page and a text, packed.
class VX_API VxLogEventRotater : public VxLogRotaterBase {
public:
    VxLogEventRotater();
    [[nodiscard]] int Archive(int timeUPB, const std::string& archiveDir) noexcept override;
};

/// The system log. Archived as a page, a text and a spreadsheet, packed; its rotation is an entry of its own, and
/// when that cannot be written, Rotate() returns -1 although rows are gone.
class VX_API VxLogRotater : public VxLogRotaterBase {
public:
    VxLogRotater();
    [[nodiscard]] int Rotate(int timeUPB) noexcept override;
    [[nodiscard]] int Archive(int timeUPB, const std::string& archiveDir) noexcept override;
};

/// The log of I/O modules, whose rows have two texts. Archived as the event log is, a row as an event of its module.
class VX_API VxIOModuleLogRotater : public VxLogRotaterBase {
public:
    VxIOModuleLogRotater();
    [[nodiscard]] int Archive(int timeUPB, const std::string& archiveDir) noexcept override;
    std::string GetCountLimitSqlStr() const override;
};

class VX_API VxMessageRotater : public VxLogRotaterBase {
public:
    VxMessageRotater();
};

/// The history of action rules.
class VX_API VxActRuleHistRotater : public VxLogRotaterBase {
public:
    VxActRuleHistRotater();
};

/// A log of which an owner (a device) has rows of its own; each owner's are kept within the limits.
class VX_API VxOwnedLogRotater : public VxLogRotaterBase {
public:
    int OwnerId() const noexcept { return m_ownerId; }
    std::string GetRotateSqlStr(int timeUPB) const override;
    std::string GetCountLimitSqlStr() const override;
    std::string GetSelectOffsetSqlStr(int offset) const override;

protected:
    VxOwnedLogRotater(const LogTable& table, const char* ownerColumn, int ownerId);

private:
    const char* m_ownerColumn;
    const int m_ownerId;
};

/// The log of one intercom.
class VX_API VxIntercomLogRotater : public VxOwnedLogRotater {
public:
    explicit VxIntercomLogRotater(int intercomId);
};

/// The log of one camera that is a recorder itself.
class VX_API VxOrvocamLogRotater : public VxOwnedLogRotater {
public:
    explicit VxOrvocamLogRotater(int cameraId);
    /// As the base, but from the start of that day on: these rows are looked up by day, and go by whole days.
    int GetTimeUPBByDays() noexcept override;
};

/// Bookmarks. Locked ones stay, and do not count.
class VX_API VxBookmarkRotater : public VxLogRotaterBase {
public:
    VxBookmarkRotater();
    /// An entry of the user log, and a message to the message daemon with the ids.
    [[nodiscard]] int LogAndNotify(int timeUPB) noexcept override;
    /// As VxOrvocamLogRotater's.
    int GetTimeUPBByDays() noexcept override;
    std::string GetRotateSqlStr(int timeUPB) const override;
    std::string GetCountLimitSqlStr() const override;
    std::string GetSelectOffsetSqlStr(int offset) const override;
};

namespace DetectionEvent {

/// Detection events, whose pictures make up their size.
class VX_API Rotater : public VxLogRotaterBase {
public:
    Rotater();
    /// Deletes in batches of 1000, so that whoever adds detections meanwhile never waits long; heeds the run flag. On
    /// -1 the batches before the failing one are gone.
    [[nodiscard]] int Rotate(int timeUPB) noexcept override;
    /// By the size of each row, not by their average: pictures differ a hundredfold.
    int GetTimeUPBByLimits() noexcept override;
    std::string GetRotateSqlStr(int timeUPB) const override;
    std::string GetCountLimitSqlStr() const override;
    std::string GetSelectOffsetSqlStr(int offset) const override;
};

} // namespace DetectionEvent

/// The rotaters of a log: one, or one for each owner that has rows.
///
/// @param rotaters  replaced on 0
/// @return 0; -1 (logged) when the owners cannot be listed.
[[nodiscard]] VX_API int MakeLogRotaters(VX_ROTATED_LOG log,
                                         std::vector<std::unique_ptr<VxLogRotaterBase>>& rotaters) noexcept;
/// Where a log is, and what messages call it.
VX_API const LogTable& GetLogTable(VX_ROTATED_LOG log) noexcept;

/// "DIR/PREFIX_TIME.EXT", the time as local "YYYYMMDD_HHMMSS".
VX_API std::string GenArchFilename(const std::string& dir, long time, const std::string& prefix,
                                   const std::string& ext);

/// Packs files into a tgz file, and removes them once it is there.
///
/// @return 0; -1 (logged): there is no tgz file, and the files stay.
[[nodiscard]] VX_API int ArchiveAndDeleteLog(const std::string& tgzPath,
                                             const std::list<std::string>& files) noexcept;
