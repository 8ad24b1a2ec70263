#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "interface/converters/t2dCAT.h"
#include "interface/converters/t2dEIT.h"
#include "interface/converters/t2dMGT.h"
#include "interface/converters/t2dNIT.h"
#include "interface/converters/t2dPAT.h"
#include "interface/converters/t2dPMT.h"
#include "interface/converters/t2dSDT.h"
#include "interface/converters/t2dVCT.h"
#include "tests/interface/RecordedLog.h"
#include "tests/interface/checks/allocations.h"
#include "tests/interface/checks/refuses.h"
#include "tests/interface/records.h"

using namespace vantor::thrift::dvb_tables;
using vantor::Refusal;

namespace {

using Descriptors = std::vector<Descriptor>;

/// The check's answer for a record of which one field, which `set` gives access to, has another value.
template <typename Record, typename Set>
std::optional<Refusal> with(Record record, Set set) {
  set(record);
  return check(record);
}

PAT pat() {
  PAT record;
  record.programs = {program(0, 0x10), program(1, 0x100)};
  return record;
}

CAT cat() {
  CAT record;
  record.descriptors = {descriptor(9, "a"), descriptor(9, "b")};
  return record;
}

NIT nit() {
  NIT record;
  record.descriptors = {descriptor(0x40, "name")};
  record.transport_streams = {transportStream(1, 1, {}), transportStream(2, 1, {descriptor(0x41, "list")})};
  return record;
}

PMT pmt() {
  PMT record;
  record.descriptors = {descriptor(9, "ca")};
  record.streams.resize(2);
  record.streams[1].descriptors = {descriptor(10, "lang")};
  return record;
}

SDT sdt() {
  SDT record;
  record.services.resize(2);
  record.services[1].descriptors = {descriptor(0x48, "service")};
  return record;
}

EIT eit() {
  EIT record;
  record.table_id = 0x50;
  record.events.resize(4);
  for (EITEvent& event : record.events) event.start_time = 0xEA60000000;  // MJD 60000
  record.events[1].descriptors = {descriptor(0x4D, "event")};
  return record;
}

EIT standard(std::int16_t tableId, std::size_t events) {
  EIT record = eit();
  record.table_id = tableId;
  record.events.resize(events, record.events[0]);
  record.__set_sectioning(EITSectioning::STANDARD);
  return record;
}

MGT mgt() {
  MGT record;
  record.tables.resize(2);
  record.tables[1].descriptors = {descriptor(1, "t")};
  record.descriptors = {descriptor(1, "d")};
  return record;
}

VCT vct() {
  VCT record;
  record.table_id = 0xC8;
  record.channels.resize(2);
  record.channels[1].short_name = "K-TEST";
  record.channels[1].descriptors = {descriptor(0xA1, "location")};
  record.descriptors = {descriptor(1, "d")};
  return record;
}

Descriptors loopOf(std::size_t count) {
  Descriptors loop(count, descriptorOf(255));
  return loop;
}

}  // namespace

TEST(PatCheck, NamesFieldAndValue) {
  EXPECT_THAT(check(pat()), passes());
  EXPECT_THAT(with(pat(), [](PAT& r) { r.transport_stream_id = 0x10000; }),
              refuses("/transport_stream_id", "65536", "is above 0xFFFF"));
  EXPECT_THAT(with(pat(), [](PAT& r) { r.version_number = -1; }), refuses("/version_number", "-1", "is negative"));
  EXPECT_THAT(with(pat(), [](PAT& r) { r.programs[0].program_number = -5; }),
              refuses("/programs/0/program_number", "-5", "is negative"));
  EXPECT_THAT(with(pat(), [](PAT& r) { r.programs[1].pid = 9000; }),
              refuses("/programs/1/pid", "9000", "is above 0x1FFF"));
  EXPECT_THAT(with(pat(), [](PAT& r) { r.programs.resize(25600, program(1, 0x100)); }), passes());
  EXPECT_THAT(with(pat(), [](PAT& r) { r.programs.resize(25601, program(1, 0x100)); }),
              refuses("/programs", "", "needs 257 sections, more than 256"));
}

TEST(CatCheck, NamesFieldAndValue) {
  EXPECT_THAT(check(cat()), passes());
  EXPECT_THAT(with(cat(), [](CAT& r) { r.version_number = -1; }), refuses("/version_number", "-1", "is negative"));
  EXPECT_THAT(with(cat(), [](CAT& r) { r.descriptors[1].tag = 256; }),
              refuses("/descriptors/1/tag", "256", "is above 0xFF"));
  EXPECT_THAT(with(cat(), [](CAT& r) { r.descriptors[0] = descriptorOf(256); }),
              refuses("/descriptors/0/data", "256 bytes", "are more than 255"));
  EXPECT_THAT(with(cat(), [](CAT& r) { r.descriptors = loopOf(769); }),
              refuses("/descriptors", "", "needs 257 sections, more than 256"));
}

TEST(NitCheck, NamesFieldAndValue) {
  EXPECT_THAT(check(nit()), passes());
  EXPECT_THAT(with(nit(), [](NIT& r) { r.network_id = -1; }), refuses("/network_id", "-1", "is negative"));
  EXPECT_THAT(with(nit(), [](NIT& r) { r.version_number = -1; }), refuses("/version_number", "-1", "is negative"));
  EXPECT_THAT(with(nit(), [](NIT& r) { r.descriptors[0].tag = -1; }),
              refuses("/descriptors/0/tag", "-1", "is negative"));
  EXPECT_THAT(with(nit(), [](NIT& r) { r.transport_streams[0].transport_stream_id = 65536; }),
              refuses("/transport_streams/0/transport_stream_id", "65536", "is above 0xFFFF"));
  EXPECT_THAT(with(nit(), [](NIT& r) { r.transport_streams[1].original_network_id = 65536; }),
              refuses("/transport_streams/1/original_network_id", "65536", "is above 0xFFFF"));
  EXPECT_THAT(with(nit(), [](NIT& r) { r.transport_streams[1].descriptors[0] = descriptorOf(300); }),
              refuses("/transport_streams/1/descriptors/0/data", "300 bytes", "are more than 255"));
  EXPECT_THAT(with(nit(), [](NIT& r) { r.transport_streams[1].descriptors = loopOf(4); }),
              refuses("/transport_streams/1/descriptors", "1028 bytes", "do not fit in a section"));
  EXPECT_THAT(with(nit(),
                   [](NIT& r) {
                     r.descriptors = loopOf(4);
                     r.__set_repeats_descriptors(true);
                   }),
              refuses("/descriptors", "1028 bytes", "do not fit in a section"));
  EXPECT_THAT(with(nit(),
                   [](NIT& r) {
                     r.descriptors = loopOf(3);
                     r.transport_streams[1].descriptors = loopOf(1);
                     r.__set_repeats_descriptors(true);
                   }),
              refuses("/transport_streams/1/descriptors", "257 bytes", "do not fit in a section"));
  EXPECT_THAT(with(nit(),
                   [](NIT& r) {
                     r.transport_streams[0].__set_starts_section(true);
                     r.transport_streams.resize(257, r.transport_streams[0]);
                   }),
              refuses("", "", "needs 257 sections, more than 256"));
  EXPECT_THAT(with(nit(), [](NIT& r) { r.descriptors = loopOf(769); }),
              refuses("", "", "needs 257 sections, more than 256"));
}

TEST(PmtCheck, NamesFieldAndValue) {
  EXPECT_THAT(check(pmt()), passes());
  EXPECT_THAT(with(pmt(), [](PMT& r) { r.program_number = 65536; }),
              refuses("/program_number", "65536", "is above 0xFFFF"));
  EXPECT_THAT(with(pmt(), [](PMT& r) { r.version_number = -1; }), refuses("/version_number", "-1", "is negative"));
  EXPECT_THAT(with(pmt(), [](PMT& r) { r.pcr_pid = 9000; }), refuses("/pcr_pid", "9000", "is above 0x1FFF"));
  EXPECT_THAT(with(pmt(), [](PMT& r) { r.descriptors[0].tag = 256; }),
              refuses("/descriptors/0/tag", "256", "is above 0xFF"));
  EXPECT_THAT(with(pmt(), [](PMT& r) { r.streams[0].stream_type = 256; }),
              refuses("/streams/0/stream_type", "256", "is above 0xFF"));
  EXPECT_THAT(with(pmt(), [](PMT& r) { r.streams[1].elementary_pid = 9000; }),
              refuses("/streams/1/elementary_pid", "9000", "is above 0x1FFF"));
  EXPECT_THAT(with(pmt(), [](PMT& r) { r.streams[1].descriptors[0] = descriptorOf(256); }),
              refuses("/streams/1/descriptors/0/data", "256 bytes", "are more than 255"));
  EXPECT_THAT(with(pmt(), [](PMT& r) { r.descriptors = loopOf(4); }),
              refuses("", "", "needs 1060 bytes, more than the 1024 of its one section"));
}

TEST(SdtCheck, NamesFieldAndValue) {
  EXPECT_THAT(check(sdt()), passes());
  EXPECT_THAT(with(sdt(), [](SDT& r) { r.transport_stream_id = -1; }),
              refuses("/transport_stream_id", "-1", "is negative"));
  EXPECT_THAT(with(sdt(), [](SDT& r) { r.original_network_id = 65536; }),
              refuses("/original_network_id", "65536", "is above 0xFFFF"));
  EXPECT_THAT(with(sdt(), [](SDT& r) { r.version_number = -1; }), refuses("/version_number", "-1", "is negative"));
  EXPECT_THAT(with(sdt(), [](SDT& r) { r.services[1].service_id = 65536; }),
              refuses("/services/1/service_id", "65536", "is above 0xFFFF"));
  EXPECT_THAT(with(sdt(), [](SDT& r) { r.services[0].running_status = 8; }),
              refuses("/services/0/running_status", "8", "is above 0x7"));
  EXPECT_THAT(with(sdt(), [](SDT& r) { r.services[1].descriptors[0].tag = 256; }),
              refuses("/services/1/descriptors/0/tag", "256", "is above 0xFF"));
  EXPECT_THAT(with(sdt(), [](SDT& r) { r.services[1].descriptors = loopOf(4); }),
              refuses("/services/1/descriptors", "1028 bytes", "do not fit in a section"));
  EXPECT_THAT(with(sdt(),
                   [](SDT& r) {
                     r.services[1].descriptors = loopOf(3);
                     r.services.assign(257, r.services[1]);
                   }),
              refuses("/services", "", "needs 257 sections, more than 256"));
}

TEST(EitCheck, NamesFieldAndValue) {
  EXPECT_THAT(check(eit()), passes());
  EXPECT_THAT(with(eit(), [](EIT& r) { r.table_id = 256; }), refuses("/table_id", "256", "is above 0xFF"));
  EXPECT_THAT(with(eit(), [](EIT& r) { r.service_id = 65536; }),
              refuses("/service_id", "65536", "is above 0xFFFF"));
  EXPECT_THAT(with(eit(), [](EIT& r) { r.version_number = -1; }), refuses("/version_number", "-1", "is negative"));
  EXPECT_THAT(with(eit(), [](EIT& r) { r.transport_stream_id = -1; }),
              refuses("/transport_stream_id", "-1", "is negative"));
  EXPECT_THAT(with(eit(), [](EIT& r) { r.original_network_id = -1; }),
              refuses("/original_network_id", "-1", "is negative"));
  EXPECT_THAT(with(eit(), [](EIT& r) { r.__set_last_table_id(256); }),
              refuses("/last_table_id", "256", "is above 0xFF"));
  EXPECT_THAT(with(eit(), [](EIT& r) { r.__set_first_day(65536); }),
              refuses("/first_day", "65536", "is above 0xFFFF"));
  EXPECT_THAT(with(eit(), [](EIT& r) { r.events[0].event_id = 65536; }),
              refuses("/events/0/event_id", "65536", "is above 0xFFFF"));
  EXPECT_THAT(with(eit(), [](EIT& r) { r.events[2].start_time = 0x10000000000; }),
              refuses("/events/2/start_time", "1099511627776", "is above 0xFFFFFFFFFF"));
  EXPECT_THAT(with(eit(), [](EIT& r) { r.events[3].duration = -5; }),
              refuses("/events/3/duration", "-5", "is negative"));
  EXPECT_THAT(with(eit(), [](EIT& r) { r.events[3].duration = 0x1000000; }),
              refuses("/events/3/duration", "16777216", "is above 0xFFFFFF"));
  EXPECT_THAT(with(eit(), [](EIT& r) { r.events[1].running_status = -1; }),
              refuses("/events/1/running_status", "-1", "is negative"));
  EXPECT_THAT(with(eit(), [](EIT& r) { r.events[1].descriptors[0] = descriptorOf(256); }),
              refuses("/events/1/descriptors/0/data", "256 bytes", "are more than 255"));
}

TEST(EitCheck, LetsADurationThatIsNoTimePass) {
  // What a capture has goes out again as it came: an undefined duration is all ones.
  EXPECT_THAT(with(eit(), [](EIT& r) { r.events[0].duration = 0xFFFFFF; }), passes());
}

TEST(EitCheck, NamesTheEventThatFitsNoSection) {
  EXPECT_THAT(with(eit(), [](EIT& r) { r.events[1].descriptors = loopOf(16); }),
              refuses("/events/1/descriptors", "4112 bytes", "do not fit in a section"));
  EXPECT_THAT(with(eit(),
                   [](EIT& r) {
                     r.events[1].descriptors = loopOf(15);
                     r.events.assign(257, r.events[1]);
                   }),
              refuses("/events", "", "needs 257 sections, more than 256"));
}

TEST(EitCheck, NamesWhatStandardSectioningHasNoPlaceFor) {
  EXPECT_THAT(check(standard(0x4E, 2)), passes());
  EXPECT_THAT(check(standard(0x4E, 3)), refuses("/events", "3", "are more than the 2 that present/following has"));
  EXPECT_THAT(with(standard(0x4F, 2), [](EIT& r) { r.__set_present_missing(true); }),
              refuses("/events", "2", "are more than the 1 that present/following has"));
  EXPECT_THAT(with(standard(0x4E, 2), [](EIT& r) { r.events[1].descriptors = loopOf(16); }),
              refuses("/events/1/descriptors", "4112 bytes", "do not fit in a section"));
  EXPECT_THAT(check(standard(0x4D, 0)),
              refuses("/table_id", "0x4D", "is none of 0x4E to 0x6F, which STANDARD sectioning is for"));
  EXPECT_THAT(with(standard(0x50, 2), [](EIT& r) { r.events[1].start_time = 0xEA64000000; }),
              refuses("/events/1/start_time", "0xEA64000000", "is no time within 4 days from MJD 60000"));
  EXPECT_THAT(with(standard(0x50, 2), [](EIT& r) { r.events[0].start_time = 0xEA60030000; }),
              refuses("/events/1/start_time", "0xEA60000000", "is in a segment before that of the event before"));
  EXPECT_THAT(with(standard(0x50, 9),
                   [](EIT& r) {
                     for (EITEvent& event : r.events) event.descriptors = loopOf(15);
                   }),
              refuses("/events/8", "", "needs one more section than the 8 of segment 0"));
}

TEST(MgtCheck, NamesFieldAndValue) {
  EXPECT_THAT(check(mgt()), passes());
  EXPECT_THAT(with(mgt(), [](MGT& r) { r.version_number = -1; }), refuses("/version_number", "-1", "is negative"));
  EXPECT_THAT(with(mgt(), [](MGT& r) { r.protocol_version = 256; }),
              refuses("/protocol_version", "256", "is above 0xFF"));
  EXPECT_THAT(with(mgt(), [](MGT& r) { r.tables[1].table_type = 65536; }),
              refuses("/tables/1/table_type", "65536", "is above 0xFFFF"));
  EXPECT_THAT(with(mgt(), [](MGT& r) { r.tables[0].table_type_pid = 8192; }),
              refuses("/tables/0/table_type_pid", "8192", "is above 0x1FFF"));
  EXPECT_THAT(with(mgt(), [](MGT& r) { r.tables[0].table_type_version_number = 32; }),
              refuses("/tables/0/table_type_version_number", "32", "is above 0x1F"));
  EXPECT_THAT(with(mgt(), [](MGT& r) { r.tables[0].number_bytes = 0x100000000; }),
              refuses("/tables/0/number_bytes", "4294967296", "is above 0xFFFFFFFF"));
  EXPECT_THAT(with(mgt(), [](MGT& r) { r.tables[1].descriptors[0].tag = 256; }),
              refuses("/tables/1/descriptors/0/tag", "256", "is above 0xFF"));
  EXPECT_THAT(with(mgt(), [](MGT& r) { r.descriptors[0].tag = 256; }),
              refuses("/descriptors/0/tag", "256", "is above 0xFF"));
  EXPECT_THAT(with(mgt(), [](MGT& r) { r.tables[1].descriptors = loopOf(16); }),
              refuses("/tables/1/descriptors", "4112 bytes", "do not fit in a section"));
  EXPECT_THAT(with(mgt(), [](MGT& r) { r.descriptors = loopOf(15 * 256 + 1); }),
              refuses("", "", "needs 257 sections, more than 256"));
}

TEST(VctCheck, NamesFieldAndValue) {
  EXPECT_THAT(check(vct()), passes());
  EXPECT_THAT(with(vct(), [](VCT& r) { r.table_id = 0xC7; }),
              refuses("/table_id", "199", "is neither 0xC8, terrestrial, nor 0xC9, cable"));
  EXPECT_THAT(with(vct(), [](VCT& r) { r.transport_stream_id = 65536; }),
              refuses("/transport_stream_id", "65536", "is above 0xFFFF"));
  EXPECT_THAT(with(vct(), [](VCT& r) { r.version_number = -1; }), refuses("/version_number", "-1", "is negative"));
  EXPECT_THAT(with(vct(), [](VCT& r) { r.protocol_version = -1; }),
              refuses("/protocol_version", "-1", "is negative"));
  EXPECT_THAT(with(vct(), [](VCT& r) { r.channels[1].short_name = "TOO LONG"; }),
              refuses("/channels/1/short_name", "\"TOO LONG\"", "has 8 UTF-16 code units, more than 7"));
  EXPECT_THAT(with(vct(), [](VCT& r) { r.channels[0].short_name = "\xFF"; }),
              refuses("/channels/0/short_name", "", "is not UTF-8"));
  EXPECT_THAT(with(vct(), [](VCT& r) { r.descriptors[0].tag = 256; }),
              refuses("/descriptors/0/tag", "256", "is above 0xFF"));
  EXPECT_THAT(with(vct(), [](VCT& r) { r.channels[1].descriptors = loopOf(4); }),
              refuses("/channels/1/descriptors", "1028 bytes", "do not fit in a section"));
  EXPECT_THAT(with(vct(), [](VCT& r) { r.descriptors = loopOf(769); }),
              refuses("", "", "needs 257 sections, more than 256"));
}

TEST(VctCheck, NamesEveryFieldOfAChannel) {
  const auto channel = [](auto member, auto value) {
    return with(vct(),
                [=](VCT& r) { r.channels[1].*member = static_cast<decltype(r.channels[1].*member + 0)>(value); });
  };
  const std::string at = "/channels/1/";
  EXPECT_THAT(channel(&VCTChannel::major_channel_number, 1024),
              refuses(at + "major_channel_number", "1024", "is above 0x3FF"));
  EXPECT_THAT(channel(&VCTChannel::minor_channel_number, 1024),
              refuses(at + "minor_channel_number", "1024", "is above 0x3FF"));
  EXPECT_THAT(channel(&VCTChannel::modulation_mode, 256), refuses(at + "modulation_mode", "256", "is above 0xFF"));
  EXPECT_THAT(channel(&VCTChannel::carrier_frequency, -1), refuses(at + "carrier_frequency", "-1", "is negative"));
  EXPECT_THAT(channel(&VCTChannel::channel_TSID, 65536), refuses(at + "channel_TSID", "65536", "is above 0xFFFF"));
  EXPECT_THAT(channel(&VCTChannel::program_number, 65536),
              refuses(at + "program_number", "65536", "is above 0xFFFF"));
  EXPECT_THAT(channel(&VCTChannel::ETM_location, 4), refuses(at + "ETM_location", "4", "is above 0x3"));
  EXPECT_THAT(channel(&VCTChannel::service_type, 64), refuses(at + "service_type", "64", "is above 0x3F"));
  EXPECT_THAT(channel(&VCTChannel::source_id, -2), refuses(at + "source_id", "-2", "is negative"));
  EXPECT_THAT(with(vct(), [](VCT& r) { r.channels[1].descriptors[0].tag = 256; }),
              refuses(at + "descriptors/0/tag", "256", "is above 0xFF"));
}

TEST(TableChecks, LeaveVersionsAbove31ToTheLibrary) {
  EXPECT_THAT(with(pat(), [](PAT& r) { r.version_number = 40; }), passes());
  EXPECT_THAT(with(eit(), [](EIT& r) { r.version_number = 256; }), passes());
  EXPECT_THAT(with(vct(), [](VCT& r) { r.version_number = INT32_MAX; }), passes());
}

TEST(TableChecks, LogNothing) {
  RecordedLog log;
  EXPECT_THAT(with(pat(), [](PAT& r) { r.programs[1].pid = 9000; }), testing::Ne(std::nullopt));
  EXPECT_THAT(log.take(), testing::IsEmpty());
}

TEST(TableChecks, ARecordThatPassesCostsNoAllocation) {
  const PAT anyPat = pat();
  const CAT anyCat = cat();
  const NIT anyNit = nit();
  const PMT anyPmt = pmt();
  const SDT anySdt = sdt();
  const EIT anyEit = standard(0x50, 4);
  const MGT anyMgt = mgt();
  const VCT anyVct = vct();
  const auto before = allocations();
  const bool refused = check(anyPat) || check(anyCat) || check(anyNit) || check(anyPmt) || check(anySdt) ||
                       check(anyEit) || check(anyMgt) || check(anyVct);
  EXPECT_EQ(allocations() - before, 0);
  EXPECT_FALSE(refused);
}

TEST(TableChecks, ARefusalIsSeenByTheCountOfAllocations) {
  const auto before = allocations();
  const auto refusal = with(nit(), [](NIT& r) { r.transport_streams[1].original_network_id = 65536; });
  EXPECT_GT(allocations() - before, 0);
}
