#pragma once

namespace QVLogging {

// LogOptions: the size limit in its low word, options above it.
constexpr unsigned long kOptionSizeLimitMask = 0xFFFF;
constexpr unsigned long kOptionTruncate = 0x10000;
constexpr unsigned long kOptionUniqueFile = 0x20000;
constexpr unsigned long kOptionDebugger = 0x80000;
constexpr unsigned long kOptionModuleWalk = 0x100000;
constexpr unsigned long kOptionIndent = 0x200000;
constexpr unsigned long kOptionDuration = 0x400000;
constexpr unsigned long kOptionCompact = 0x800000;
constexpr unsigned long kOptionDate = 0x1000000;
constexpr unsigned long kOptionTime = 0x2000000;
constexpr unsigned long kOptionProcess = 0x4000000;
constexpr unsigned long kOptionThread = 0x8000000;
constexpr unsigned long kOptionDelta = 0x10000000;
constexpr unsigned long kOptionCounter = 0x20000000;

// LogCategories, and the category word of a line.
constexpr unsigned long kCategoryDetailMask = 0xF;
constexpr unsigned long kCategoryInfo = 0x10;
constexpr unsigned long kCategoryException = 0x20;
constexpr unsigned long kCategoryWarning = 0x40;
constexpr unsigned long kCategoryError = 0x80;
constexpr unsigned long kCategoryStatus = 0x100;
constexpr unsigned long kCategoryDebug = 0x200;
constexpr unsigned long kCategoryEntry = 0x400;
constexpr unsigned long kCategoryExit = 0x800;
constexpr unsigned long kCategoryNumberMask = 0xF000;
constexpr unsigned long kCategoryListModule = 0x1000000;
constexpr unsigned long kCategoryLock = 0x2000000;
constexpr unsigned long kCategoryParameters = 0x4000000;
constexpr unsigned long kCategoryToDebugger = 0x8000000;
constexpr unsigned long kCategoryReturn = 0x10000000;
constexpr unsigned long kCategoryErrorText = 0x20000000;
constexpr unsigned long kCategoryHeader = 0x40000000;

}  // namespace QVLogging
