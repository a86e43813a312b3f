#include "SimOptions.h"

#include <errno.h>
#include <getopt.h>
#include <stdlib.h>

#include <cmath>

#include "SimClock.h"

namespace {

enum OptionId {
  kHookup = 1000,
  kVoltage,
  kFrequency,
  kLoad,
  kPf,
  kUnbalance,
  kHarmonics,
  kPt,
  kCt,
  kPeriod,
  kSeed,
  kOnce,
  kSteps,
  kStart,
  kMap,
  kCatalog,
  kLogItems,
  kHelp
};

const struct option kLongOptions[] = {{"hookup", required_argument, nullptr, kHookup},
                                      {"voltage", required_argument, nullptr, kVoltage},
                                      {"frequency", required_argument, nullptr, kFrequency},
                                      {"load", required_argument, nullptr, kLoad},
                                      {"pf", required_argument, nullptr, kPf},
                                      {"unbalance", required_argument, nullptr, kUnbalance},
                                      {"harmonics", required_argument, nullptr, kHarmonics},
                                      {"pt", required_argument, nullptr, kPt},
                                      {"ct", required_argument, nullptr, kCt},
                                      {"period", required_argument, nullptr, kPeriod},
                                      {"seed", required_argument, nullptr, kSeed},
                                      {"once", no_argument, nullptr, kOnce},
                                      {"steps", required_argument, nullptr, kSteps},
                                      {"start", required_argument, nullptr, kStart},
                                      {"map", required_argument, nullptr, kMap},
                                      {"catalog", required_argument, nullptr, kCatalog},
                                      {"log-items", required_argument, nullptr, kLogItems},
                                      {"help", no_argument, nullptr, kHelp},
                                      {nullptr, 0, nullptr, 0}};

bool parseDouble(const char* text, double low, double high, double* value) {
  char* end = nullptr;
  errno = 0;
  double parsed = strtod(text, &end);
  if (errno != 0 || end == text || *end != '\0' || !std::isfinite(parsed)) return false;
  if (parsed < low || parsed > high) return false;
  *value = parsed;
  return true;
}

bool parseUnsigned(const char* text, unsigned long long low, unsigned long long high,
                   unsigned long long* value) {
  if (*text == '-' || *text == '+' || *text == '\0') return false;
  char* end = nullptr;
  errno = 0;
  unsigned long long parsed = strtoull(text, &end, 0);
  if (errno != 0 || *end != '\0' || parsed < low || parsed > high) return false;
  *value = parsed;
  return true;
}

// The failure of option id with the value arg.
base::Status invalidValue(int id, const char* arg) {
  const char* name = "?";
  for (const struct option* opt = kLongOptions; opt->name; ++opt)
    if (opt->val == id) name = opt->name;
  return base::Status::Error(
      "", std::string("invalid value for --") + name + ": '" + (arg ? arg : "") + "'");
}

// Applies one option with its argument; fails on a bad value.
base::Status applyOption(int id, const char* arg, SimOptions* o) {
  unsigned long long u = 0;
  bool ok = true;
  switch (id) {
    case kHookup:
      ok = parseUnsigned(arg, 0, 4, &u);
      o->hookup = static_cast<unsigned>(u);
      break;
    case kVoltage: ok = parseDouble(arg, 1.0, 1.0e6, &o->voltage); break;
    case kFrequency: ok = parseDouble(arg, 40.0, 70.0, &o->frequency); break;
    case kLoad: ok = parseDouble(arg, 0.0, 1.0e5, &o->load); break;
    case kPf: ok = parseDouble(arg, -1.0, 1.0, &o->pf); break;
    case kUnbalance: ok = parseDouble(arg, 0.0, 50.0, &o->unbalance); break;
    case kHarmonics: ok = parseDouble(arg, 0.0, 30.0, &o->harmonics); break;
    case kPt:
      ok = parseUnsigned(arg, 1, 1000000, &u);
      o->pt = static_cast<unsigned>(u);
      break;
    case kCt:
      ok = parseUnsigned(arg, 1, 1000000, &u);
      o->ct = static_cast<unsigned>(u);
      break;
    case kPeriod:
      ok = parseUnsigned(arg, 10, 3600000, &u);
      o->periodMs = static_cast<unsigned>(u);
      break;
    case kSeed:
      ok = parseUnsigned(arg, 0, ~0ULL, &u);
      o->seed = u;
      o->seedGiven = ok;
      break;
    case kOnce: o->once = true; break;
    case kSteps:
      ok = parseUnsigned(arg, 1, 100000000, &u);
      o->steps = static_cast<unsigned long>(u);
      o->stepsGiven = ok;
      break;
    case kStart: {
      SimClock clock;
      ok = SimClock::fromText(arg, &clock);
      o->start = arg;
      break;
    }
    case kMap:
      ok = *arg != '\0';
      o->mapPath = arg;
      break;
    case kCatalog:
      ok = *arg != '\0';
      o->catalogPath = arg;
      break;
    case kLogItems:
      ok = *arg != '\0';
      o->logItemsPath = arg;
      break;
    default: ok = false; break;
  }
  return ok ? base::Status::Ok() : invalidValue(id, arg);
}

}  // namespace

base::Status parseSimOptions(int argc, char** argv, SimOptions* options) {
  optind = 1;
  opterr = 0;
  for (;;) {
    int longIndex = 0;
    int id = getopt_long(argc, argv, ":h", kLongOptions, &longIndex);
    if (id == -1) break;
    if (id == 'h' || id == kHelp) {
      options->help = true;
      return base::Status::Ok();
    }
    if (id == '?' || id == ':') {
      const char* word = argv[optind - 1];
      return base::Status::Error(
          "", std::string(id == ':' ? "option needs a value: " : "unknown option: ") + word);
    }
    base::Status applied = applyOption(id, optarg, options);
    if (!applied.ok()) return applied;
  }
  if (optind < argc) {
    return base::Status::Error("", std::string("unexpected argument: ") + argv[optind]);
  }
  if (options->once && options->stepsGiven) {
    return base::Status::Error("", "--once and --steps exclude each other");
  }
  return base::Status::Ok();
}

std::string simUsage(const char* program) {
  std::string text = std::string("Usage: ") + program + " [options]\n";
  text +=
      "Creates the datamap with every key the daemon reads, fills it with a simulated\n"
      "three-phase meter and keeps updating it until SIGINT or SIGTERM.\n"
      "options:\n"
      "  --hookup N        0 Wye, 1 Delta 3 CTs, 2 Delta 2 CTs, 3 2.5 Element Wye, 4 4 Wire Delta "
      "(0)\n"
      "  --voltage V       nominal phase-to-neutral voltage at the meter's inputs (120)\n"
      "  --frequency HZ    nominal frequency, 50 or 60 (60)\n"
      "  --load A          load current at the meter's inputs (5)\n"
      "  --pf X            displacement power factor, -1..1, negative = leading (0.9)\n"
      "  --unbalance PCT   unbalance between the phases, percent (2)\n"
      "  --harmonics PCT   voltage THD in percent; currents carry three times as much (3)\n"
      "  --pt RATIO        PT ratio; readings are published as inputs times the ratio (1)\n"
      "  --ct RATIO        CT ratio, likewise (1)\n"
      "  --period MS       update period in milliseconds (1000)\n"
      "  --seed N          seed of the random model; a seeded run starts its clock at\n"
      "                    2025-01-01 00:00:00 unless --start says otherwise\n"
      "  --start TIME      clock start \"CCYY-MM-DD hh:mm:ss\" (default: now)\n"
      "  --once            populate the map once and exit\n"
      "  --steps N         populate, advance N periods without waiting, and exit\n"
      "  --map PATH        datamap file (default $DATAMAP_FILE, else /dev/shm/datamap)\n"
      "  --catalog PATH    key catalogue (default <prefix>/share/livedata-update/meter.catalog)\n"
      "  --log-items PATH  log item catalogue for the limits (default $LOG_ITEM_CATALOG,\n"
      "                    else the built-in one)\n"
      "  -h, --help        this text\n";
  return text;
}
