#pragma once

/** Counts the signals by which a user, a shell or the system asks the program to end. */
namespace Interrupts {

/** Counts from now on, instead of ending the program. A hang-up that the program was started to survive, as
 * by nohup, stays ignored. */
void watch();

/** How many came. */
int count();

/** How many of them were meant to end it in a hurry: all but hang-ups, which come in pairs. */
int urgentCount();

/** The exit code by which a shell knows that the first signal ended the program. */
int exitCode();

} // namespace Interrupts
