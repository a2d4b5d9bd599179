/* Always-on checks of the library's own invariants and of the few stops the
** design prescribes.  They print "<file>:<line>: failed assertion `<expr>'"
** on standard error and stop the program; unlike <cassert> they stay under
** NDEBUG and their text is fixed. */
#ifndef SDIF_ASSERT_H
#define SDIF_ASSERT_H

/* What happens after the message: abort() by default.  A harness (fuzzing,
** death-free tests) may install a handler that throws instead; if the
** handler returns, the program still aborts. */
typedef void (*SdifStopFuncT)(const char* file, unsigned line, const char* expr);

/* Install a stop handler; answers the previous one.  Null restores abort(). */
SdifStopFuncT SdifSetStopFunc(SdifStopFuncT func);

/* Print the failed-assertion line and stop. */
[[noreturn]] void SdifAssertFail(const char* file, unsigned line, const char* expr);

#define SdifAssert(expr) ((expr) ? (void)0 : SdifAssertFail(__FILE__, __LINE__, #expr))

/* For stops whose file and line are part of the program's documented output. */
#define SdifAssertAt(expr, file, line) ((expr) ? (void)0 : SdifAssertFail(file, line, #expr))

#endif
