// SPDX-License-Identifier: Apache-2.0
// tools/nouns.h - what each file of this folder adds to vx.
#pragma once

namespace CLI {
class App;
}

/// One function a noun, in the file that is named after it.
#ifdef VX_WITH_MEDIA
void AddCaptureNoun(CLI::App& vx);
void AddRecordNoun(CLI::App& vx);
#endif
void AddCameraNoun(CLI::App& vx);
void AddDbNoun(CLI::App& vx);
void AddDoctorNoun(CLI::App& vx);
void AddEventNoun(CLI::App& vx);
void AddFifoNoun(CLI::App& vx);
void AddHelpNoun(CLI::App& vx);
void AddHistoryNoun(CLI::App& vx);
void AddLogNoun(CLI::App& vx);
void AddMsgNoun(CLI::App& vx);
void AddNotifyNoun(CLI::App& vx);
void AddRotateNoun(CLI::App& vx);
void AddRuleNoun(CLI::App& vx);
void AddTaskNoun(CLI::App& vx);
void AddWebhookNoun(CLI::App& vx);
