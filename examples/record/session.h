#pragma once

struct Options;

/** Records what \a options ask for and waits for the finished video; the program's exit code. */
int record(const Options &options);
