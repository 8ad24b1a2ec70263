"""What GStreamer's transport-stream parser makes of ATSC tables.

Its library is asked itself: gst-launch-1.0 prints of a section only that there was one.
"""

import ctypes
import unittest

from psip import CVCT_ID, GPS_EPOCH, MGT_ID, PSIP_PID, STT_ID, TVCT_ID, Channel, Table

PATIENCE = 60  # seconds

try:
    import gi

    gi.require_version("Gst", "1.0")
    gi.require_version("GstMpegts", "1.0")
    from gi.repository import Gst, GstMpegts
except (ImportError, ValueError) as reason:
    MISSING = f"Python has no GStreamer: {reason}"
else:
    Gst.init(None)
    GstMpegts.initialize()
    MISSING = None if Gst.ElementFactory.find("tsparse") else "GStreamer has no tsparse"


def need():
    """Skips the test where GStreamer cannot take part in it."""
    if MISSING:
        raise unittest.SkipTest(MISSING)


def tables_in(path):
    """What its parser reports of a file's MGT, VCT and STT, {table_id: contents}.

    It reports each version of a table once, and all STTs have the same: of them it tells the first.
    """
    pipeline = Gst.parse_launch("filesrc name=source ! tsparse ! fakesink")
    pipeline.get_by_name("source").set_property("location", str(path))
    pipeline.set_state(Gst.State.PLAYING)
    try:
        sections = [section for section in _sections(pipeline.get_bus()) if section.table_id in _READERS]
        return {section.table_id: _READERS[section.table_id](section) for section in sections}
    finally:
        pipeline.set_state(Gst.State.NULL)


def stt_time(section):
    """What an STT tells, in seconds since 1970."""
    return _stt_time(GstMpegts.Section.new(PSIP_PID, section))


def _sections(bus):
    kinds = Gst.MessageType.ELEMENT | Gst.MessageType.EOS | Gst.MessageType.ERROR
    while True:
        message = bus.timed_pop_filtered(PATIENCE * Gst.SECOND, kinds)
        if message is None:
            raise AssertionError("GStreamer came to no end")
        if message.type == Gst.MessageType.ERROR:
            raise AssertionError(f"GStreamer: {message.parse_error()}")
        if message.type == Gst.MessageType.EOS:
            return
        section = GstMpegts.message_parse_mpegts_section(message)
        if section and section.pid == PSIP_PID:
            yield section


def _parsed(table):
    if not table:
        raise AssertionError("GStreamer refuses a section")
    return table


def _tables(section):
    tables = _parsed(section.get_atsc_mgt()).tables
    return [Table(table.table_type, table.pid, table.version_number, table.number_bytes) for table in tables]


def _channels(vct):
    sources = _parsed(vct).sources
    for source in sources:
        # These are copies that share the name with their original (1.22), and whoever goes second frees it again:
        # so the copies never go.
        ctypes.pythonapi.Py_IncRef(ctypes.py_object(source))
    return [
        Channel(
            name=channel.short_name,
            major=channel.major_channel_number,
            minor=channel.minor_channel_number,
            program_number=channel.program_number,
            source_id=channel.source_id,
        )
        for channel in sources
    ]


def _stt_time(section):
    stt = _parsed(section.get_atsc_stt())
    return GPS_EPOCH + stt.system_time - stt.gps_utc_offset


_READERS = {
    MGT_ID: _tables,
    TVCT_ID: lambda section: _channels(section.get_atsc_tvct()),
    CVCT_ID: lambda section: _channels(section.get_atsc_cvct()),
    STT_ID: _stt_time,
}
