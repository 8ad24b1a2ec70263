#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <vector>

#include "servicemux/front/serviceMux.h"
#include "tests/servicemux/standards/LimitJudge.h"

/// A controlling process that puts tables on air, replaces them and takes them off at random, but the same ones for
/// the same seed, and tells a judge what it does.
class RandomMultiplex {
 public:
  using Clock = std::function<std::int64_t()>;

  /// `sharesPids` lets messages of conditional access share PIDs with PMTs. `hasSections` puts whole sections on
  /// the PIDs of other tables too.
  RandomMultiplex(vantor::serviceMux& mux, LimitJudge& judge, Clock now, unsigned int seed, bool sharesPids,
                  bool hasSections);

  /// Puts a first set of tables on air.
  void start();
  /// One operation.
  void change();
  /// Puts the schedules of many services with so many events each on air, all at once.
  void setGuide(unsigned int events);
  /// The same at random, or takes them off.
  void changeGuide();
  /// One operation that any profile takes alike: a table gets another version.
  void replace();

  /// Sets the ceiling so that what is on air takes this part of it.
  void setLoad(double part);
  /// Takes off air what has no period that could be stretched: times, null packets and messages.
  void keepTables();
  /// kbit/s that the tables and null packets on air ask for.
  [[nodiscard]] double required() const;
  [[nodiscard]] unsigned int ceiling() const { return bitrate; }

  /// A number below a limit, the same on every machine.
  unsigned int below(unsigned int limit) { return static_cast<unsigned int>(generator() % limit); }

 private:
  using Key = LimitJudge::Key;

  void setPat();
  void setCat();
  void setNit();
  void setPmt();
  void setSdtActual();
  void setSdtOther();
  void setEitPf();
  void setEitSchedule();
  void setTime();
  void setMgt();
  void setVct();
  void setStt();
  void setSections();
  void setNullPackets();
  void configureAccess();
  void setEcm();
  void setEmm();
  void clearOne();
  void clearAll();

  std::uint16_t ecmPid(std::uint16_t i) const;
  void put(const Key& key, int version, unsigned int period);
  void remove(const Key& key);
  void removeIf(const std::function<bool(const Key&)>& which);
  bool isOnAir(const Key& key) const;
  int nextVersion(const Key& key);
  void keepLoad();

  vantor::serviceMux& mux;
  LimitJudge& judge;
  const Clock now;
  std::mt19937 generator;
  const bool sharesPids;
  const bool hasSections;
  const vantor::InsertionPeriods periods;

  std::vector<LimitJudge::Table> onAir;
  std::map<std::uint64_t, int> versions;  // the last one of each table
  bool hasAccess = false;
  double nullKbps = 0;
  unsigned int bitrate = 1024;
  double greatestLoad = 0.8;
};
