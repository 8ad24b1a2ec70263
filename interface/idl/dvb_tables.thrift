/**
 * The signalling tables a controlling process hands in, one record a table.
 *
 * Fields carry the names of ISO/IEC 13818-1, EN 300 468 and ATSC A/65. Unsigned fields of 8 bits are i16 and
 * of 16 bits i32, so that a value out of range arrives as it was given and can be refused by name.
 * A version_number above 31 is sent as 0.
 */
namespace cpp vantor.thrift.dvb_tables

/** Any descriptor, as raw bytes so that nothing is lost. */
struct Descriptor {
  1: i16 tag
  2: binary data  // what follows descriptor_length, at most 255 bytes
}

struct PATProgram {
  1: i32 program_number  // 0 names the network PID
  2: i32 pid             // network_PID or program_map_PID
}

/** Program association table, ISO/IEC 13818-1 clause 2.4.4.3. */
struct PAT {
  1: i32 transport_stream_id
  2: i32 version_number
  3: bool current_next_indicator = true
  4: list<PATProgram> programs
}

/** Conditional access table, ISO/IEC 13818-1 clause 2.4.4.6. */
struct CAT {
  1: i32 version_number
  2: bool current_next_indicator = true
  3: list<Descriptor> descriptors
}

struct NITTransportStream {
  1: i32 transport_stream_id
  2: i32 original_network_id
  3: list<Descriptor> descriptors
  4: optional bool starts_section  // true: begins a new section though the one before has room
}

/** Network information table, EN 300 468 clause 5.2.1. A BAT, clause 5.2.2, is laid out alike. */
struct NIT {
  1: i32 network_id
  2: i32 version_number
  3: bool current_next_indicator = true
  4: list<Descriptor> descriptors
  5: list<NITTransportStream> transport_streams
  6: optional bool repeats_descriptors  // true: the network's descriptors stand in each section
}

struct PMTStream {
  1: i16 stream_type
  2: i32 elementary_pid
  3: list<Descriptor> descriptors
}

/** Program map table, ISO/IEC 13818-1 clause 2.4.4.8. */
struct PMT {
  1: i32 program_number
  2: i32 version_number
  3: bool current_next_indicator = true
  4: i32 pcr_pid
  5: list<Descriptor> descriptors
  6: list<PMTStream> streams
}

struct SDTService {
  1: i32 service_id
  2: bool EIT_schedule_flag
  3: bool EIT_present_following_flag
  4: i16 running_status
  5: bool free_CA_mode
  6: list<Descriptor> descriptors
  7: optional bool starts_section  // true: begins a new section though the one before has room
}

/** Service description table, actual or other stream, EN 300 468 clause 5.2.3. */
struct SDT {
  1: i32 transport_stream_id
  2: i32 original_network_id
  3: i32 version_number
  4: bool current_next_indicator = true
  5: list<SDTService> services
}

struct EITEvent {
  1: i32 event_id
  2: i64 start_time      // 40 bits: 16-bit MJD, then hhmmss in BCD, UTC
  3: i32 duration        // 24 bits: hhmmss in BCD
  4: i16 running_status
  5: bool free_CA_mode
  6: list<Descriptor> descriptors
  7: optional bool starts_section  // true: begins a new section though the one before has room
}

/** How the events of an EIT are laid out in sections. */
enum EITSectioning {
  PACKED = 0    // one after the other, as they fit
  STANDARD = 1  // EN 300 468 clause 5.2.4: present and following apart, schedules in 3-hour segments
}

/** Event information table, one subtable, EN 300 468 clause 5.2.4. */
struct EIT {
  1: i16 table_id        // 0x4E, 0x4F present/following; 0x50 to 0x6F schedule
  2: i32 service_id
  3: i32 version_number
  4: bool current_next_indicator = true
  5: i32 transport_stream_id
  6: i32 original_network_id
  7: optional i16 last_table_id  // the last table_id of this service's schedule; else the record's own
  8: list<EITEvent> events
  9: optional EITSectioning sectioning = EITSectioning.PACKED
  10: optional i32 first_day     // STANDARD schedule: MJD that segment 0 starts at; else that of the first event
  11: optional bool present_missing  // STANDARD present/following: the first event is the following one
}

struct MGTTable {
  1: i32 table_type
  2: i32 table_type_pid
  3: i16 table_type_version_number
  4: i64 number_bytes
  5: list<Descriptor> descriptors
}

/** Master guide table, ATSC A/65 clause 6.2. */
struct MGT {
  1: i32 version_number
  2: bool current_next_indicator = true
  3: i16 protocol_version
  4: list<MGTTable> tables
  5: list<Descriptor> descriptors
}

struct VCTChannel {
  1: string short_name            // UTF-8; at most 7 UTF-16 code units
  2: i16 major_channel_number
  3: i16 minor_channel_number
  4: i16 modulation_mode
  5: i64 carrier_frequency        // Hz, 0 recommended
  6: i32 channel_TSID
  7: i32 program_number
  8: i16 ETM_location
  9: bool access_controlled
  10: bool hidden
  11: bool path_select            // cable only
  12: bool out_of_band            // cable only
  13: bool hide_guide
  14: i16 service_type
  15: i32 source_id
  16: list<Descriptor> descriptors
}

/** Virtual channel table, ATSC A/65 clause 6.3. */
struct VCT {
  1: i16 table_id                 // 0xC8 terrestrial, 0xC9 cable
  2: i32 transport_stream_id
  3: i32 version_number
  4: bool current_next_indicator = true
  5: i16 protocol_version
  6: list<VCTChannel> channels
  7: list<Descriptor> descriptors
}

/** One local time offset and its next change, EN 300 468 clause 6.2.20. */
struct LocalTimeOffset {
  1: string country_code
  2: i16 country_region_id
  3: i16 local_time_offset_polarity  // 0: east of Greenwich, the offset is added
  4: i16 local_time_offset           // hhmm in BCD
  5: i64 time_of_change              // 40 bits like EITEvent.start_time; 0: no change known
  6: i16 next_time_offset            // hhmm in BCD
  7: bool valid = true
}

/**
 * Whole sections of one table, of whatever kind, that are sent as they are. All have one table_id and one
 * table_id_extension, which is 0 for sections without section_syntax_indicator.
 */
struct Sections {
  1: i32 pid
  2: i32 period = 10000     // ms from one sending to the next
  3: string name            // for people; without one the table has that of its table_id
  4: list<binary> sections  // each from table_id to its last byte
}
