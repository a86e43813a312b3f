// The template engine's deliberate pauses: a yield of the processor (usleep 0)
// after each value and attribute, 1 ms between tokenizer fields and the per-field
// spread pause of a processing cycle. They keep the engine from starving the
// meter's measurement threads.
//
// The pauses are on by default and stay on in the product. Only the fuzzing
// harness turns them off (setTemplatePausesEnabled(false)) so that it can feed
// thousands of templates per second; nothing else in the engine changes.
//
// Thread-safety: the switch is a relaxed atomic; the pauses may be called from
// any thread.
#ifndef JSONTEMPLATE_TEMPLATEPAUSE_H_
#define JSONTEMPLATE_TEMPLATEPAUSE_H_

void setTemplatePausesEnabled(bool enabled);
bool templatePausesEnabled();

// usleep(0): gives the processor to another thread.
void templateYield();
// usleep(microseconds); negative counts sleep 0.
void templateSleepMicroseconds(long long microseconds);

#endif  // JSONTEMPLATE_TEMPLATEPAUSE_H_
