// SPDX-License-Identifier: Apache-2.0
// tools/doctor/finding.h - what vx doctor finds, and the checks that find it.
#pragma once

#include <string>
#include <vector>

/// One thing that is wrong with this box.
struct Finding {
    std::string id;   ///< stable, "area.what": scripts and documents go by it
    std::string what; ///< one sentence with the object's name and the values seen
    std::string why;  ///< what goes wrong if it stays
    std::string mend; ///< the command that mends it, or what a person has to do
};

/// Collects findings. A note tells what cannot be judged from here; it is no fault of the box.
class Findings {
public:
    void Add(const char* id, std::string what, std::string why, std::string mend)
    {
        m_found.push_back({id, std::move(what), std::move(why), std::move(mend)});
    }
    void Note(std::string text) { m_notes.push_back(std::move(text)); }

    [[nodiscard]] const std::vector<Finding>& Found() const noexcept { return m_found; }
    [[nodiscard]] const std::vector<std::string>& Notes() const noexcept { return m_notes; }

private:
    std::vector<Finding> m_found;
    std::vector<std::string> m_notes;
};

/// One file of this folder each. None of them changes anything; each may be run alone.
void CheckClock(Findings& findings);       ///< clock.*: time that ran backwards or was never set
void CheckDatabases(Findings& findings);   ///< db.*: damage, foreign files, versions, what no longer shrinks
void CheckKernel(Findings& findings);      ///< kernel.*: limits that a FIFO or a recording would meet
void CheckLeftovers(Findings& findings);   ///< left.*: what dead processes left in the package's folders
void CheckLimits(Findings& findings);      ///< limits.*: limits that the volume cannot hold
void CheckLogConfig(Findings& findings);   ///< log.*: configurations that silence or flood
void CheckPermissions(Findings& findings); ///< perm.*, key.*: folders and keys open to others or closed to us
void CheckRecording(Findings& findings);   ///< recording.*: cameras of which nothing new comes to the disk
void CheckRecordRows(Findings& findings);  ///< records.*: rows without files, files without rows and the like
void CheckSegments(Findings& findings);    ///< segment.*: FIFOs without a writer, broken or incomplete ones
void CheckSpace(Findings& findings);       ///< space.*: volumes that are full, missing or read-only
