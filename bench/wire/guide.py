"""Writes a table set with the guides of many services of another stream: present/following and seven days of
events of an hour each.

  guide.py --services 300 guide.json
"""

import argparse
import json
from pathlib import Path

STREAM, NETWORK = 2, 1
FIRST_SERVICE = 1001
FIRST_DAY = "2026-01-01"
DAYS = 7
HOURS = 24 * DAYS
TEXT = "A text as long as those that broadcasters send: who is in it, who made it, where and when, and what for. " * 2
TEXT_SIZE = 150  # bytes


def event(number):
    """The first one of a list says when; each of the others begins when the one before ends."""
    begin = {"start_time": f"{FIRST_DAY}T00:00:00Z"} if number == 0 else {}
    return {
        "event_id": number,
        **begin,
        "duration": "01:00:00",
        "descriptors": [
            {
                "short_event": {
                    "ISO_639_language_code": "eng",
                    "event_name": f"Programme {number:03}",
                    "text": TEXT[:TEXT_SIZE],
                }
            },
            {"content": [{"content_nibble_level_1": 1, "content_nibble_level_2": 0, "user_byte": 0}]},
        ],
    }


def eit(service, events):
    return {
        "service_id": service,
        "transport_stream_id": STREAM,
        "original_network_id": NETWORK,
        "actual": False,
        "version_number": 1,
        "events": [event(number) for number in range(events)],
    }


def table_set(services):
    ids = range(FIRST_SERVICE, FIRST_SERVICE + services)
    return {
        "eit_pf": [eit(service, 2) for service in ids],
        "eit_schedule": [eit(service, HOURS) for service in ids],
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--services", type=int, default=300)
    parser.add_argument("output", type=Path, help="the JSON file")
    arguments = parser.parse_args()
    arguments.output.write_text(json.dumps(table_set(arguments.services)))


if __name__ == "__main__":
    main()
