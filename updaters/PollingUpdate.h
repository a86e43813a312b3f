// Polling updater: the meter's main readings page, "polling_data.json" -
// one-second and thermal-average voltages, currents and powers with their
// maxima and minima, power factors, hookup, nominal frequency, phase sequence,
// the five latest digital-input samples, the designation and three timestamps.
//
// It owns a second thread, the digital-input sampler (led_thread), which reads
// "reading.digin.flag" five times per updater interval into a ring of five
// slots that the document prints. The sampler has its own EventWaiter so
// that it sleeps and is stopped apart from the updater thread; both threads
// share the one running flag of the base, so stopping either ends both loops.
//
// Deliberate behaviour kept from the meter's firmware: the thermal and
// one-second an voltages are read twice per cycle, the bn voltage maximum and
// minimum likewise; the negative minimum is written before the negative maximum;
// many error messages name fields rather than keys.
//
// Thread-safety: the sample slots and the digital-input index are relaxed
// atomics shared by the two threads; everything else belongs to the updater
// thread.
#ifndef UPDATERS_POLLINGUPDATE_H_
#define UPDATERS_POLLINGUPDATE_H_

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>

#include <atomic>

#include "livedata/DocumentUpdater.h"
#include "livedata/EventWaiter.h"
#include "updaters/TransformerRatios.h"

class PollingUpdate : public DocumentUpdater {
 public:
  PollingUpdate();
  ~PollingUpdate() override;

  int initDmIndex() override;
  int getData() override;

  // Sampler thread: its id (for run and stop) and its wake descriptor.
  pthread_t* ledThreadId() { return &ledThreadId_; }
  int ledEventFd() const { return ledWaiter_.eventFd(); }
  static void* led_process_thread(void* self);
  int led_thread();

  // Number of digital-input samples kept.
  static constexpr int kSamples = 5;
  // Enumeration-unavailable bits.
  static constexpr unsigned kHookupUnavailable = 1u << 0;
  static constexpr unsigned kFrequencyTypeUnavailable = 1u << 1;
  static constexpr unsigned kPhaseSequenceUnavailable = 1u << 2;
  unsigned enumerationUnavailable() const { return enumerationUnavailable_; }
  uint16_t sample(int slot) const { return samples_[slot].load(std::memory_order_relaxed); }

 private:
  // A maximum or minimum with its own validity flag.
  struct Peak {
    DmKey<bool> valid;
    DmKey<double> value;
  };
  // One measurement channel. peaks: posmax, posmin, negmax, negmin (volts,
  // currents and VAs use the first two).
  struct Channel {
    DmKey<double> reading;
    DmKey<double> thermal;
    Peak peaks[4];
  };
  using Unit = UnitSelection::Unit;

  void addChannelLookups();
  void addChannelReads();
  void addReadingReads(DmKey<double> Channel::*record, const bool* onlyWhile,
                       const char* voltFormat, const char* otherFormat);
  void addFamilyPeakReads(int family, const int* order, int count, int firstPeak, int peakCount);
  void addEnumerationKeys();

  void writeBody(DocumentFile& out) override;
  void writeFamily(int family, const Unit& unit);
  void writeEntry(bool available, double value, const Unit& unit, const char* end);
  void writeEnumerations();

  // Channels of all families, volts first (see the family table).
  Channel channels_[24];
  DmKey<bool> thermalValid_;
  DmKey<double> frequency_;
  DmTextKey powerFactors_[4];
  DmTextKey powerFactorDisplay_;
  DmKey<ZUL_TIMESTAMP_8B_STRUCT> thermalPeakResetTime_;
  TransformerRatios ratios_;
  DmKey<unsigned short> hookup_;
  DmKey<unsigned short> frequencyType_;
  DmKey<unsigned short> phaseSequence_;
  unsigned enumerationUnavailable_ = 0;
  bool enumerationsAvailable_ = true;  // enumerationUnavailable_ == 0
  // The sampler's index as the key table resolves it.
  unsigned int diginLookup_ = DM_INDEX_NONE;

  // Written by the updater thread's initDmIndex, read by the sampler.
  std::atomic<unsigned int> diginIndex_{DM_INDEX_NONE};
  std::atomic<uint16_t> samples_[kSamples] = {};

  pthread_t ledThreadId_ = 0;
  EventWaiter ledWaiter_;
};

#endif  // UPDATERS_POLLINGUPDATE_H_
