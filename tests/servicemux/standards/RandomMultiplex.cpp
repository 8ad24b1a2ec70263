#include "tests/servicemux/standards/RandomMultiplex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "interface/dvbpsi.h"
#include "interface/psi/pids.h"
#include "interface/psi/tableIds.h"
#include "tests/servicemux/front/outputs.h"
#include "tests/servicemux/front/wholeSections.h"
#include "tests/servicemux/standards/simulatedTime.h"

namespace {

using namespace vantor;

constexpr double kBitsOfAPacket = 1504;

constexpr std::uint16_t kTransportStream = 0x2A;  // of outputs.h
constexpr std::uint16_t kNetwork = 0x3001;
constexpr int kPrograms = 8;
constexpr std::uint16_t kGuideService = 100;  // the first one
constexpr std::uint16_t kGuideServices = 40;
constexpr int kPmtPids = 4;
constexpr int kOtherStreams = 3;
constexpr std::uint16_t kPmtPid = 0x100;
constexpr std::uint16_t kEcmPid = 0x200;
constexpr std::uint16_t kEcmPids = 4;  // the last one can be a PMT's
constexpr std::uint16_t kEmmPid = 0x300;
constexpr unsigned int kEmmsAtOnce = 5;
constexpr std::size_t kEmmSize = 180;
// Tables as whole sections: a PID of their own, and those of NIT, SDT, EIT, PMT and PSIP tables.
constexpr std::array<std::uint16_t, 6> kSectionPids{0x400, kNitPid, kSdtPid, kEitPid, kPmtPid, kPsipPid};
constexpr std::uint8_t kSectionTableId = 0x90;
constexpr int kSectionTables = 3;  // on each of them
// So much a ceiling has room for without stretching, when it leaves room within 100 ms for the tables that go by
// the UTC second beside all the others.
constexpr double kGreatestLoad = 0.8;
constexpr unsigned int kLeastCeiling = 600;  // kbit/s, of what changes
constexpr double kEmmKbps = 20;              // a few sets of them at once, over the time that they are given

/// A message of conditional access: its first byte, its length and its body.
std::string message(std::uint8_t table_id, std::size_t size, char fill) {
  std::string section(size, fill);
  section[0] = static_cast<char>(table_id);
  section[1] = static_cast<char>(0x70 | (size - 3) >> 8);
  section[2] = static_cast<char>(size - 3);
  return section;
}

thrift::dvb_tables::MGT makeMgt(int version, unsigned int tables) {
  thrift::dvb_tables::MGT mgt;
  mgt.version_number = version;
  for (unsigned int i = 0; i < tables; ++i) {
    thrift::dvb_tables::MGTTable table;
    table.table_type = static_cast<int>(i);
    table.table_type_pid = kPsipPid;
    mgt.tables.push_back(table);
  }
  return mgt;
}

dvbpsi_local_time_offset_s makeOffset() {
  dvbpsi_local_time_offset_s offset{};
  offset.i_local_time_offset = 0x0100;
  return offset;
}

std::uint64_t numberOf(const LimitJudge::Key& key) {
  return ((std::uint64_t{key.pid} << 8 | key.table_id) << 16 | key.extension) << 16 | key.transport_stream_id;
}

}  // namespace

RandomMultiplex::RandomMultiplex(serviceMux& mux, LimitJudge& judge, Clock now, unsigned int seed, bool sharesPids,
                                 bool hasSections)
    : mux(mux),
      judge(judge),
      now(std::move(now)),
      generator(seed),
      sharesPids(sharesPids),
      hasSections(hasSections) {
  judge.setCeiling(this->now(), bitrate);
}

void RandomMultiplex::start() {
  setPat();
  setTime();
  for (int i = 0; i < 25; ++i) change();
}

void RandomMultiplex::change() {
  using Operation = void (RandomMultiplex::*)();
  constexpr std::array<Operation, 26> kOperations{
      &RandomMultiplex::setPat,         &RandomMultiplex::setCat,          &RandomMultiplex::setNit,
      &RandomMultiplex::setPmt,         &RandomMultiplex::setPmt,          &RandomMultiplex::setSdtActual,
      &RandomMultiplex::setSdtOther,    &RandomMultiplex::setEitPf,        &RandomMultiplex::setEitPf,
      &RandomMultiplex::setEitPf,       &RandomMultiplex::setEitSchedule,  &RandomMultiplex::setTime,
      &RandomMultiplex::setMgt,         &RandomMultiplex::setVct,          &RandomMultiplex::setStt,
      &RandomMultiplex::setNullPackets, &RandomMultiplex::configureAccess, &RandomMultiplex::setEcm,
      &RandomMultiplex::setEcm,         &RandomMultiplex::setEcm,          &RandomMultiplex::setEmm,
      &RandomMultiplex::clearOne,       &RandomMultiplex::clearOne,        &RandomMultiplex::clearAll,
      &RandomMultiplex::setSections,    &RandomMultiplex::setSections};
  constexpr unsigned int kOfSections = 2;  // the last ones
  (this->*kOperations[below(kOperations.size() - (hasSections ? 0 : kOfSections))])();
  keepLoad();
}

void RandomMultiplex::replace() {
  using Operation = void (RandomMultiplex::*)();
  constexpr std::array<Operation, 3> kOperations{&RandomMultiplex::setPat, &RandomMultiplex::setNit,
                                                 &RandomMultiplex::setSdtActual};
  (this->*kOperations[below(kOperations.size())])();
  keepLoad();
}

// --- Operations -------------------------------------------------------------------------------------------------

void RandomMultiplex::setPat() {
  const Key key{kPatPid, kPatTableId, kTransportStream, 0, 0};
  const int version = nextVersion(key);
  mux.newPAT(makePat(version, static_cast<int>(1 + below(150))));
  put(key, version, periods.pat);
}

void RandomMultiplex::setCat() {
  const Key key{kCatPid, kCatTableId, 0, 0, 0};
  const int version = nextVersion(key);
  mux.newCAT(makeCat(version));
  put(key, version, periods.cat);
}

void RandomMultiplex::setNit() {
  const Key key{kNitPid, kNitActualTableId, kNetwork, 0, 0};
  const int version = nextVersion(key);
  mux.newNIT(makeNit(version, 1 + below(8)));
  put(key, version, periods.nit);
}

void RandomMultiplex::setPmt() {
  const auto program = static_cast<std::uint16_t>(1 + below(kPrograms));
  const Key key{static_cast<std::uint16_t>(kPmtPid + program % kPmtPids), kPmtTableId, program, 0, 0};
  const int version = nextVersion(key);
  auto pmt = makePmt(program, version);
  pmt.descriptors.assign(below(6), makeDescriptor(0x80, 98, 'p'));
  mux.newPMT(pmt, static_cast<short>(key.pid));
  put(key, version, periods.pmt);
}

void RandomMultiplex::setSdtActual() {
  const Key key{kSdtPid, kSdtActualTableId, kTransportStream, kTransportStream, kNetwork};
  const int version = nextVersion(key);
  mux.newSDTActual(makeSdt(kTransportStream, kNetwork, version, static_cast<int>(1 + below(20))));
  put(key, version, periods.sdtActual);
}

void RandomMultiplex::setSdtOther() {
  const auto stream = static_cast<std::uint16_t>(0x50 + below(kOtherStreams));
  const Key key{kSdtPid, kSdtOtherTableId, stream, stream, kNetwork};
  const int version = nextVersion(key);
  mux.newSDTOthers(makeSdt(stream, kNetwork, version, static_cast<int>(1 + below(20))));
  put(key, version, periods.sdtOther);
}

/// Streams share their services' ids, so that EIT others differ in nothing else.
void RandomMultiplex::setEitPf() {
  const bool isActual = below(2) == 0;
  const auto stream = static_cast<std::uint16_t>(isActual ? kTransportStream : 0x50 + below(kOtherStreams));
  const std::uint8_t table_id = isActual ? kEitPfActualTableId : kEitPfOtherTableId;
  const auto service = static_cast<std::uint16_t>(1 + below(kPrograms));
  const Key key{kEitPid, table_id, service, stream, kNetwork};
  const int version = nextVersion(key);
  auto eit = makeEit(table_id, service, version, static_cast<int>(1 + below(2)));
  eit.transport_stream_id = stream;
  mux.newEITpf({{0, {{0, eit}}}});
  put(key, version, isActual ? periods.eitPresentFollowingActual : periods.eitPresentFollowingOther);
}

void RandomMultiplex::setEitSchedule() {
  const bool isActual = below(2) == 0;
  const std::uint8_t table_id = isActual ? kEitScheduleActualFirst : kEitScheduleOtherFirst;
  const auto service = static_cast<std::uint16_t>(1 + below(kPrograms));
  const Key key{kEitPid, table_id, service, kTransportStream, kNetwork};
  const int version = nextVersion(key);
  mux.newEITsch({{0, {{0, makeEit(table_id, service, version, static_cast<int>(1 + below(60)))}}}});
  put(key, version, isActual ? periods.eitScheduleActual : periods.eitScheduleOther);
}

/// All at once, as when a guide has been read in.
void RandomMultiplex::setGuide(unsigned int events) {
  for (std::uint16_t service = kGuideService; service < kGuideService + kGuideServices; ++service) {
    const Key key{kEitPid, kEitScheduleOtherFirst, service, kTransportStream, kNetwork};
    const int version = nextVersion(key);
    mux.newEITsch({{0, {{0, makeEit(kEitScheduleOtherFirst, service, version, static_cast<int>(events))}}}});
    put(key, version, periods.eitScheduleOther);
  }
  keepLoad();
}

void RandomMultiplex::changeGuide() {
  if (below(2) == 0) return setGuide(1 + below(6));
  for (std::uint16_t service = kGuideService; service < kGuideService + kGuideServices; ++service) {
    mux.clearEITpf(static_cast<short>(service));
    mux.clearEITsch(static_cast<short>(service));
  }
  removeIf([](const Key& key) { return key.pid == kEitPid && key.extension >= kGuideService; });
}

void RandomMultiplex::setTime() {
  const Key tdt{kTimePid, kTdtTableId, 0, 0, 0};
  const Key tot{kTimePid, kTotTableId, 0, 0, 0};
  const bool hasTot = below(2) == 0;
  mux.setLocalTimeOffsetTable(hasTot ? std::vector{makeOffset()} : std::vector<dvbpsi_local_time_offset_s>{});
  if (!isOnAir(tdt)) put(tdt, -1, periods.timeUpdater);
  if (!hasTot) return remove(tot);
  if (!isOnAir(tot)) put(tot, -1, periods.timeUpdater);
}

void RandomMultiplex::setMgt() {
  const Key key{kPsipPid, kMgtTableId, 0, 0, 0};
  const int version = nextVersion(key);
  mux.newMGT(makeMgt(version, 1 + below(20)));
  put(key, version, periods.mgt);
}

void RandomMultiplex::setVct() {
  const std::uint8_t table_id = below(2) == 0 ? kTerrestrialVctTableId : kCableVctTableId;
  const Key key{kPsipPid, table_id, kTransportStream, 0, 0};
  const int version = nextVersion(key);
  mux.newVCT(makeVct(table_id, version, static_cast<int>(1 + below(40))));
  put(key, version, periods.vctTerrestrial);
}

void RandomMultiplex::setStt() {
  const Key key{kPsipPid, kSttTableId, 0, 0, 0};
  mux.newSTT({});
  if (!isOnAir(key)) put(key, 0, periods.stt);
}

void RandomMultiplex::setSections() {
  const std::uint16_t pid = kSectionPids[below(kSectionPids.size())];
  const Key key{pid, kSectionTableId, static_cast<std::uint16_t>(below(kSectionTables)), 0, 0};
  if (below(4) == 0) {
    mux.clearSections(pid, key.table_id, key.extension);
    return remove(key);
  }
  const int version = nextVersion(key);
  auto record = makeSections(pid, key.table_id, key.extension, version, static_cast<int>(1 + below(3)), below(300));
  record.period = static_cast<std::int32_t>(1000 + below(10000));
  EXPECT_EQ(mux.newSections(record), 0);
  put(key, version, static_cast<unsigned int>(record.period));
}

void RandomMultiplex::setNullPackets() {
  const unsigned int period = 50 + below(1000);
  mux.newNULLPkts(period);
  nullKbps = kBitsOfAPacket / period;
}

/// Makes the streams of its messages anew, which takes what was on air off.
void RandomMultiplex::configureAccess() {
  removeIf([](const Key& key) { return key.table_id == kEvenEcmTableId || key.table_id == kOddEcmTableId; });
  thrift::general::ScramblerConfig config;
  config.enabled = true;
  config.scrambler_type = 3;
  for (std::uint16_t i = 0; i < kEcmPids; ++i) config.ecm_pids[1].push_back(ecmPid(i));
  config.emm_pids[1] = {kEmmPid};
  mux.setDRMConfig(config);
  judge.sendOnce(kEmmPid);
  hasAccess = true;
}

std::uint16_t RandomMultiplex::ecmPid(std::uint16_t i) const {
  return sharesPids && i + 1 == kEcmPids ? kPmtPid : static_cast<std::uint16_t>(kEcmPid + i);
}

/// The next key: its table_id alternates.
void RandomMultiplex::setEcm() {
  if (!hasAccess) return;
  const std::uint16_t pid = ecmPid(static_cast<std::uint16_t>(below(kEcmPids)));
  const bool isEven = isOnAir({pid, kOddEcmTableId, 0, 0, 0});
  const std::uint8_t table_id = isEven ? kEvenEcmTableId : kOddEcmTableId;
  const std::uint8_t other = isEven ? kOddEcmTableId : kEvenEcmTableId;
  thrift::simulcrypt::ECMItem ecm;
  ecm.pid = pid;
  ecm.data = message(table_id, 60 + below(200), 'e');
  mux.setLiveECM(ecm);
  remove({pid, other, 0, 0, 0});
  remove({pid, table_id, 0, 0, 0});
  put({pid, table_id, 0, 0, 0}, -1, periods.ecm);
}

void RandomMultiplex::setEmm() {
  if (!hasAccess) return;
  thrift::simulcrypt::EMMItem emm;
  emm.pid = kEmmPid;
  for (unsigned int i = 1 + below(kEmmsAtOnce); i > 0; --i) emm.data += message(0x82, kEmmSize, 'm');
  mux.setLiveEMM(emm);
}

void RandomMultiplex::clearOne() {
  const auto has = [](std::uint8_t first, std::uint8_t last, unsigned int extension) {
    return
        [=](const Key& key) { return key.table_id >= first && key.table_id <= last && key.extension == extension; };
  };
  const unsigned int service = 1 + below(kPrograms);
  switch (below(10)) {
    case 0:
      mux.clearCAT();
      return removeIf(has(kCatTableId, kCatTableId, 0));
    case 1:
      mux.clearNIT();
      return removeIf(has(kNitActualTableId, kNitActualTableId, kNetwork));
    case 2:
      mux.clearPMT(static_cast<short>(service), static_cast<short>(kPmtPid + service % kPmtPids));
      return removeIf(has(kPmtTableId, kPmtTableId, service));
    case 3:
      mux.clearSDTActual();
      return removeIf(has(kSdtActualTableId, kSdtActualTableId, kTransportStream));
    case 4:
      mux.clearSDTOthers(0x50, -1);
      return removeIf(has(kSdtOtherTableId, kSdtOtherTableId, 0x50));
    case 5:
      mux.clearEITpf(static_cast<short>(service));
      return removeIf(has(kEitPfActualTableId, kEitScheduleOtherLast, service));
    case 6:
      mux.clearLocalTimeOffsetTable();
      return removeIf(has(kTdtTableId, kTotTableId, 0));
    case 7:
      mux.clearMGT();
      return removeIf(has(kMgtTableId, kMgtTableId, 0));
    case 8:
      mux.clearVCT();
      return removeIf(has(kTerrestrialVctTableId, kCableVctTableId, kTransportStream));
    default:
      mux.clearSTT();
      return removeIf(has(kSttTableId, kSttTableId, 0));
  }
}

/// Rarely, and not for long: an output without tables is quiet.
void RandomMultiplex::clearAll() {
  if (below(10) != 0) return;
  mux.clearAllTables();
  hasAccess = false;
  removeIf([](const Key& key) { return key.table_id != kTdtTableId && key.table_id != kTotTableId; });
  start();
}

void RandomMultiplex::keepTables() {
  mux.clearLocalTimeOffsetTable();
  mux.clearSTT();
  mux.clearNULLPkts();
  mux.setDRMConfig({});
  nullKbps = 0;
  hasAccess = false;
  removeIf([](const Key& key) {
    return key.pid == kTimePid || key.table_id == kSttTableId || key.table_id == kEvenEcmTableId ||
           key.table_id == kOddEcmTableId;
  });
}

// --- What is on air ---------------------------------------------------------------------------------------------

/// How long the table is, the output says; that it is there, the judge sees.
void RandomMultiplex::put(const Key& key, int version, unsigned int period) {
  const auto listed = mux.tablesOnAir();
  const auto found = std::find_if(listed.begin(), listed.end(), [&](const TableOnAir& table) {
    return table.pid == key.pid && table.table_id == key.table_id &&
           (table.key.extension == key.extension || key.table_id == kCatTableId) &&
           table.key.transport_stream_id == key.transport_stream_id && table.version == version;
  });
  ASSERT_NE(found, listed.end()) << "table_id " << int{key.table_id} << " extension " << key.extension;
  EXPECT_EQ(found->period, period);
  const LimitJudge::Table table{key, version, found->sections, found->packets, period * kMillisecond};
  const auto known = std::find_if(onAir.begin(), onAir.end(), [&](const auto& other) { return other.key == key; });
  if (known == onAir.end())
    onAir.push_back(table);
  else
    *known = table;
  judge.put(now(), table);
}

void RandomMultiplex::remove(const Key& key) {
  removeIf([&](const Key& other) { return other == key; });
}

void RandomMultiplex::removeIf(const std::function<bool(const Key&)>& which) {
  const auto removed =
      std::stable_partition(onAir.begin(), onAir.end(), [&](const auto& table) { return !which(table.key); });
  for (auto table = removed; table != onAir.end(); ++table) judge.remove(now(), table->key);
  onAir.erase(removed, onAir.end());
}

bool RandomMultiplex::isOnAir(const Key& key) const {
  return std::any_of(onAir.begin(), onAir.end(), [&](const auto& table) { return table.key == key; });
}

int RandomMultiplex::nextVersion(const Key& key) {
  int& version = versions[numberOf(key)];
  version = (version + 1) % 32;
  return version;
}

// --- Load -------------------------------------------------------------------------------------------------------

double RandomMultiplex::required() const {
  double kbps = nullKbps;
  for (const LimitJudge::Table& table : onAir)
    kbps += table.packets * kBitsOfAPacket * kMillisecond / static_cast<double>(table.period);
  return kbps;
}

void RandomMultiplex::setLoad(double part) {
  greatestLoad = std::max(part, kGreatestLoad);
  bitrate = static_cast<unsigned int>((required() + kEmmKbps) / part) + 1;
  if (part <= kGreatestLoad) bitrate = std::max(bitrate, kLeastCeiling);
  mux.setBitrate(bitrate);
  judge.setCeiling(now(), bitrate);
}

void RandomMultiplex::keepLoad() {
  if (required() + kEmmKbps > greatestLoad * bitrate) setLoad(greatestLoad);
}
