#pragma once

struct Options;

/** Lists the recordings that were left in temporary folders, and delivers them where a folder is named; the
 * program's exit code. */
int recover(const Options &options);
