#pragma once

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "interface/records.h"
#include "servicemux/export.h"
#include "servicemux/muxer/DatagramSink.h"
#include "servicemux/muxer/MuxerStatistics.h"
#include "servicemux/muxer/TimingProfile.h"
#include "servicemux/output/InsertionPeriods.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/output/TableOnAir.h"

struct dvbpsi_local_time_offset_s;
struct dvbpsi_psi_section_s;

namespace vantor {

class AtscTables;
class ConditionalAccess;
class DeviceSocket;
class DumpFiles;
class FixedTables;
class SectionTables;
class ServiceTables;
class TableCarrousel;
class TimeTables;
class VBRmuxer;

/// The signalling multiplex of one output: takes table records in, builds their sections and packets and repeats
/// them on UDP until they are replaced or cleared.
///
/// The object runs from the end of its constructor to the start of its destructor, with threads of its own. All
/// tables start empty. Errors are logged, never thrown, and leave on air what was there. The only exceptions are
/// those of a system that has run out of memory, threads or mutexes: boost::thread_resource_error,
/// std::system_error and std::bad_alloc. They may come from the constructor and from what makes a stream later,
/// which is setDRMConfig, newPMT on a PID that has no PMT yet and the first ATSC table; the other tables stay on
/// air then. Table operations take no lock and must come from one thread at a time; setBitrate and statistics may
/// come from any.
class SERVICEMUX_API serviceMux final : public RegistryOwner {
 public:
  /// `name` opens the log messages (null counts as empty). `address` says where the datagrams go; when the last
  /// octet of its ip is 224 to 239 they leave as multicast through the VLAN interface that `vlan` selects.
  /// `dumpPath` is an existing directory for dump files of the tables, "" for none; its name reaches a shell.
  serviceMux(const char* name, vantor::thrift::general::OutputAddress address, const std::string& dumpPath);
  /// The same with an output that is open already: every datagram goes to `sink`, which must not be null.
  serviceMux(const char* name, std::shared_ptr<DatagramSink> sink, const std::string& dumpPath);
  serviceMux(const serviceMux&) = delete;
  serviceMux& operator=(const serviceMux&) = delete;
  /// Stops and joins the threads, closes the socket and removes the dump files. A sink that was handed in is let
  /// go.
  ~serviceMux();

  /// Sets the ceiling of the output in kbit/s, 1 to 100000, 1024 at construction.
  void setBitrate(unsigned int kbps);

  /// Chooses how the output decides when each section leaves, Classic at construction. What is on air stays there;
  /// its counters go on. In Classic, tables on air as whole sections let others of their PID send (newSections).
  /// Any thread.
  void setTimingProfile(TimingProfile profile);

  /// How long in ms, 20 at construction, a packet waits at most for others to fill its datagram. Standards only.
  /// Any thread.
  void setDatagramWait(unsigned int ms);

  /// Sets how often tables are repeated. What is on air takes the new periods at once and goes on, and so does what
  /// comes later; EMMs that wait keep the time they have. False, with an error that names the field and nothing
  /// changed, when one is below 25 ms or longer than its kind can have (`check` in output/periodFields.h); one
  /// above the maximum of a standard is taken, with a warning. `nullPackets`, which newNULLPkts sets, and
  /// `fallback` are not looked at and stay as they are. A table operation.
  bool setInsertionPeriods(const InsertionPeriods& wanted);

  /// What has been sent so far, and what was lost.
  [[nodiscard]] MuxerStatistics statistics() const;

  /// What is on air now.
  [[nodiscard]] std::vector<TableOnAir> tablesOnAir() const;

  // Tables. Each returns the version used (one above 31 becomes 0), or -1 when the record cannot be converted; in
  // that case, and when libdvbpsi makes no sections of it, the previous table stays on air.

  int newPAT(const vantor::thrift::dvb_tables::PAT& record);
  void clearPAT();
  int newCAT(const vantor::thrift::dvb_tables::CAT& record);
  void clearCAT();
  int newNIT(const vantor::thrift::dvb_tables::NIT& record);
  void clearNIT();

  /// Puts a program's PMT on a PID. A PID above 0x1FFF, which no packet can have, is refused with an error in the
  /// log and -1. A PMT that is on air on another PID stays there, with its version returned: clear it first.
  int newPMT(const vantor::thrift::dvb_tables::PMT& record, short pid);
  void clearPMT(short program, short pid);
  void clearAllPMTs();

  int newSDTActual(const vantor::thrift::dvb_tables::SDT& record);
  /// One SDT other for each other transport stream.
  int newSDTOthers(const vantor::thrift::dvb_tables::SDT& record);
  void clearSDTActual();
  /// Takes the SDT others with this transport_stream_id and original_network_id off air; -1 stands for any.
  void clearSDTOthers(int transport_stream_id, int original_network_id);

  using EITRecords = vantor::EITRecords;

  /// Puts EIT subtables on air. A record that cannot be converted is passed over; returns the version of the last
  /// one that could, -1 when there was none.
  int newEITpf(const EITRecords& records);
  int newEITsch(const EITRecords& records);
  /// Each of these takes all EITs of a service off air, present/following and schedule alike.
  void clearEITpf(short sid);
  void clearEITsch(short sid);
  void clearAllEITs();
  /// Takes one EIT off air, and no other.
  void clearEIT(unsigned char table_id, int service_id, int transport_stream_id, int original_network_id);

  // Tables of whatever kind as whole sections, which are sent as they are.

  /// Puts the sections of one table on air, over those that are there under the same PID, table_id and
  /// table_id_extension (0 for sections without section_syntax_indicator). Returns 0, or -1 with an error in the
  /// log that names the field; what was on air stays then. tablesOnAir() lists the table under the record's name,
  /// or that of its kind where it has none.
  ///
  /// In Standards any number of streams share a PID. In Classic a PID that another stream has is refused. Sections
  /// that share their PID when the profile becomes Classic, or another table comes to their PID then, stay off air
  /// until they have the PID alone, or the profile is Standards again; the log tells of both as warnings.
  int newSections(const vantor::thrift::dvb_tables::Sections& record);
  /// Takes the table off air; where there is none that is only logged.
  void clearSections(int pid, int table_id, int extension);

  /// Sends one null packet every `period` ms. Returns 0.
  int newNULLPkts(unsigned int period);
  /// Returns 0.
  int clearNULLPkts();

  // TDT and TOT, sent about once a second with the host's UTC time: in Classic whenever it has changed, in
  // Standards at the beginning of a second.

  /// Puts a TDT on air and, unless `offsets` is empty, a TOT with one local time offset descriptor. More than 19
  /// offsets are refused with an error, and what was on air stays.
  void setLocalTimeOffsetTable(std::vector<dvbpsi_local_time_offset_s> offsets);
  void clearLocalTimeOffsetTable();

  // ATSC PSIP on PID 0x1FFB. MGT and VCT return like the tables above.

  int newMGT(const vantor::thrift::dvb_tables::MGT& record);
  /// Terrestrial or cable, as the record's table_id says.
  int newVCT(const vantor::thrift::dvb_tables::VCT& record);
  /// Sends an STT that always carries the current time, and announces the record's change of the local time.
  /// Returns -1 in any case.
  int newSTT(const vantor::thrift::dvb_tables::LocalTimeOffset& record);
  void clearMGT();
  /// Both kinds.
  void clearVCT();
  /// The one with this table_id.
  void clearVCT(unsigned char table_id);
  void clearSTT();

  // Conditional access, from any thread. Messages come as whole sections back to back (format 0) or as whole
  // packets (format 1); what is in neither is refused with an error and leaves on air what was there. ECMs are
  // repeated until the next one, EMMs are sent once, each set of them within half a second.

  /// Says which messages are carried: scrambler_type 0 on the fixed PIDs 0x0021 and 0x0022, 3 on the PIDs that the
  /// configuration lists, each taken by its low 16 bits. Messages on air stop, also when nothing has changed. When
  /// a stream cannot be made this throws boost::thread_resource_error: the streams made before it are there,
  /// messages for the others are refused or passed over, and calling again makes them all.
  void setDRMConfig(const vantor::thrift::general::ScramblerConfig& config);

  /// For scrambler_type 0. Packets must have the PID already.
  void setECM(const vantor::thrift::general::simulCryptData& ecm);
  void setEMM(const vantor::thrift::general::simulCryptData& emm);
  /// Removes the stream; the next setDRMConfig makes it again.
  void clearECM();
  void clearEMM();

  /// For scrambler_type 3, on one of the configured PIDs. Of several packets only the first is sent, as many times
  /// as there are packets. Empty data is an ECM stop, which is only logged: the last ECM stays on air. Both are
  /// kept for compatibility.
  void setLiveECM(const vantor::thrift::simulcrypt::ECMItem& ecm);
  void setLiveEMM(const vantor::thrift::simulcrypt::EMMItem& emm);
  /// Removes all streams; the next setDRMConfig makes them again.
  void clearLiveECMs();
  void clearLiveEMMs();

  /// Takes every table off air but TDT and TOT. Null packets go on too, so that the output does not fall silent.
  void clearAllTables();

  // Dump files. With an empty dump path they do nothing; none of them reports an error.

  /// Removes table files older than 30 days that no link points at; at most once in 7 days.
  void clearOldDumpedTables();

  /// Writes the sections to a file of their table and version and points the table's link at it.
  void dumpTable(dvbpsi_psi_section_s* sections);
  /// Removes the link of one table; its files stay.
  void clearCurrentdumpedTable(unsigned char table_id, unsigned short extension);
  /// Removes every file that ends in ".bin".
  void clearDumpedTables();
  /// The table's name in file names, empty when it is not dumped.
  static std::string getTablename(unsigned char table_id, unsigned short extension);

  // Packets.

  /// Appends the packets of a section chain to `out`, counters from 0, and returns the bytes of its sections.
  static unsigned int packetize(unsigned short pid, std::string& out, dvbpsi_psi_section_s* sections);
  /// Appends one null packet to `out`.
  static void getNULLPacket(std::string& out);
  /// The length of a section chain, modulo 256.
  static unsigned char getNumberOfSectionsInSubtable(dvbpsi_psi_section_s* sections);
  /// Appends the packets of CA sections that stand back to back to `out`.
  static unsigned char packetizeCASection(unsigned short pid, unsigned char continuity, std::string& out,
                                          const std::string& in);
  /// Appends the first packet of `in`, which has at least one, to `out` as often as `in` has packets, and gives it
  /// the PID.
  static unsigned char pidifyTSPackets(unsigned short pid, std::string& out, const std::string& in);

  // The steps of construction and destruction, each done once there, and the threads' bodies.

  /// Opens the output socket and sets it up; true when every step succeeded. With a sink that was handed in there
  /// is nothing to do.
  bool openUDPSocket();
  /// The interface that carries multicast output.
  std::string getOutputInterfaceName() const;
  void startTimeUpdaterThread();
  void startServiceMuxerThread();
  void startConsumerThread();
  void muxerRun();
  void consumerRun();
  void muxerStop();
  void timeUpdateFct();

  /// Writes a UTC time (its low 40 bits, EN 300 468 annex C) into a section of a TDT or TOT, with the TOT's CRC_32
  /// anew, and returns its packets.
  static std::string updateUTC(long long utc, dvbpsi_psi_section_s* section);

 private:
  serviceMux(const char* name, std::shared_ptr<DatagramSink> handedIn, std::shared_ptr<DeviceSocket> own,
             const std::string& dumpPath);

  // What the parts of this output see of it.
  [[nodiscard]] const std::string& outputName() const override { return name; }
  [[nodiscard]] InsertionPeriods& insertionPeriods() override { return periods; }
  [[nodiscard]] TimingProfile timingProfile() const override;
  [[nodiscard]] const std::shared_ptr<VBRmuxer>& outputMuxer() const override { return muxer; }
  [[nodiscard]] const std::shared_ptr<TableCarrousel>& outputSdtCarrousel() const override { return sdtCarrousel; }

  void announce() const;
  void openOutput();
  void makeParts();
  void end();
  void startThread(std::thread& thread, void (serviceMux::*body)(), int priority, const char* namePrefix);

  // Constant after construction.
  const std::string name;
  const vantor::thrift::general::OutputAddress outputAddress;  // empty with a sink that was handed in

  // Written by the caller's thread: the period of TDT and TOT under the mutex of TimeTables, those of conditional
  // access under the CA lock, since others read them there.
  InsertionPeriods periods;

  // The caller's thread only.
  std::thread producerThread;
  std::thread consumerThread;
  std::thread timeUpdaterThread;

  // Constant after construction, gone in the destructor.
  const std::shared_ptr<DatagramSink> sink;
  const std::shared_ptr<DeviceSocket> device;  // the same, when it is the output's own; else null
  std::shared_ptr<VBRmuxer> muxer;
  std::unique_ptr<DumpFiles> dumps;
  std::shared_ptr<TableCarrousel> sdtCarrousel;
  std::unique_ptr<FixedTables> fixedTables;
  std::unique_ptr<TimeTables> timeTables;
  std::unique_ptr<ServiceTables> serviceTables;
  std::unique_ptr<SectionTables> sectionTables;
  std::unique_ptr<ConditionalAccess> access;
  std::unique_ptr<AtscTables> atscTables;
};

}  // namespace vantor
