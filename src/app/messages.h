// Localized error and warning boxes.
#pragma once

#include "app/launch_error.h"

#include <cstdint>
#include <string>

// Replaces the "~TitleName~" placeholder; nothing in the launch flow sets it.
extern std::wstring TitleNameText;

// Text ids of the message tables for an error or a warning box.
uint32_t ErrorTextId(LaunchError error);
uint32_t WarningTextId(LaunchError warning);

// The message-text rules applied to a loaded text: U+00B5 becomes U+00A0, and
// the first "~" together with the ten characters after it becomes titleName.
std::wstring ApplyMessageTextRules(std::wstring text, const std::wstring& titleName);

// The message-table language for a player's UI language: there are 30
// languages by exact locale, so a regional variant takes the one of its
// primary language (Spanish: Spain es-ES, elsewhere es-MX; Chinese:
// Traditional zh-TW, Simplified zh-CN; Portuguese: Brazil pt-BR, elsewhere
// pt-PT; every Norwegian nb-NO; every Arabic ar-SA), and every other language
// English.
uint16_t MessageLanguage(uint16_t uiLanguage);

// Style bits a box adds for texts of the given table language: Arabic is read
// right to left (MB_RTLREADING | MB_RIGHT), every other table left to right (0).
uint32_t ReadingOrderStyle(uint16_t tableLanguage);

// A text of the executable's message tables in the player's language
// (falling back to English); empty when the id is missing.
std::wstring LoadMessageText(uint32_t id);

// The text ID of one language's message table in MODULE (an executable's
// module handle, e.g. one loaded as a data file), converted from the table's
// UTF-8; false when that language has no table or the table lacks the id.
// Each table is RCDATA resource 1 in its language: per text, the id and the
// byte length as little-endian 16-bit numbers, then the UTF-8 bytes.
bool FindMessageText(const void* module, uint16_t language, uint32_t id, std::wstring& text);

// Both log the box and return when the user has closed it.
void ShowError(LaunchError error);
void ShowWarning(LaunchError warning);

// Help button of error boxes: opens the support page; the help data is unused.
struct tagHELPINFO;
void __stdcall OpenSupportPage(tagHELPINFO* helpInfo);
