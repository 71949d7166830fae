"""The contestants of the group road. A contestant is a server and a client that deliver the same document, and a
broker if it needs one. README.md says what the programs must print."""

import contextlib
import pathlib

import common

FLOOR = "floor"

# Log levels of the library.
WARNING = 3
INFO = 4


class Session:
    """The commands of one run, and the broker that runs during it."""

    def __init__(self, server, client, broker=None):
        self.server = server  # (arguments) -> command
        self.client = client  # (arguments, address that the server reported) -> command
        self.broker = broker  # common.Program


class Contestant:
    def __init__(self, name, title, flood_count, session):
        self.name = name
        self.title = title
        self.flood_count = flood_count  # about a second's worth
        self.session = session  # context manager: (options, place, log) -> Session


def floor(hop):
    @contextlib.contextmanager
    def session(options, place, log):
        yield Session(
            lambda arguments: [options.program("bus/bench-bus"), *arguments],
            lambda arguments, address: [
                options.program("road/road-floor"), "--address", address, "--hop", hop, *arguments,
            ],
        )

    return session


def clamp(log_level):
    @contextlib.contextmanager
    def session(options, place, log):
        yield Session(
            lambda arguments: [options.program("bus/bench-bus"), *arguments],
            lambda arguments, address: common.client_command(
                place, address, [options.program("road/road-clamp"), "--log-level", log_level, *arguments]
            ),
        )

    return session


@contextlib.contextmanager
def grpc(options, place, log):
    yield Session(
        lambda arguments: [options.program("peers/grpc/grpc-server"), *arguments],
        lambda arguments, address: [options.program("peers/grpc/grpc-client"), "--address", address, *arguments],
    )


@contextlib.contextmanager
def mqtt(options, place, log):
    port = common.free_port()
    configuration = place / "mosquitto.conf"
    configuration.write_text(
        f"listener {port} 127.0.0.1\n"
        "allow_anonymous true\n"
        "persistence false\n"
        "set_tcp_nodelay true\n"
        "log_type error\n"
        # A flood must not lose a message.
        "max_queued_messages 0\n"
    )
    with common.Program(["mosquitto", "-c", configuration], log) as broker:
        yield Session(
            lambda arguments: [options.program("peers/mqtt/mqtt-server"), "--broker", port, *arguments],
            lambda arguments, _: [options.program("peers/mqtt/mqtt-client"), "--address", port, *arguments],
            broker,
        )


DBUS_CONFIGURATION = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path={socket}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
  <limit name="max_incoming_bytes">1000000000</limit>
  <limit name="max_outgoing_bytes">1000000000</limit>
  <limit name="max_message_size">1000000000</limit>
</busconfig>
"""


@contextlib.contextmanager
def dbus(options, place, log):
    configuration = place / "bus.conf"
    configuration.write_text(DBUS_CONFIGURATION.format(socket=place / "bus"))
    command = ["dbus-daemon", f"--config-file={configuration}", "--nofork", "--nopidfile", "--print-address"]
    with common.Program(command, log) as broker:
        address = broker.line()
        yield Session(
            lambda arguments: [options.program("peers/dbus/dbus-server"), "--broker", address, *arguments],
            lambda arguments, _: [options.program("peers/dbus/dbus-client"), "--address", address, *arguments],
            broker,
        )


def field(options):
    """All contestants, the reference first. Fails if a requested peer was not built."""
    result = [
        Contestant(FLOOR, "floor: bare Beast client", 500_000, floor(hop=0)),
        Contestant("floor-hop", "floor with one hand-over", 500_000, floor(hop=1)),
        # The peers log nothing. At this level, neither does an application in a vehicle.
        Contestant("clamp", "ClampControlClient", 200_000, clamp(WARNING)),
        Contestant("clamp-logging", "the same, a log line for each", 200_000, clamp(INFO)),
    ]
    if options.peers:
        peers = [
            Contestant("grpc", "gRPC server streaming", 100_000, grpc),
            Contestant("mqtt", "MQTT QoS 0 (mosquitto)", 100_000, mqtt),
            Contestant("dbus", "D-Bus signal (sd-bus)", 60_000, dbus),
        ]
        for peer in peers:
            if not pathlib.Path(options.program(f"peers/{peer.name}/{peer.name}-client")).is_file():
                raise common.Failure(f"{peer.title} was not built: run scripts/install-deps --bench-peers")
        result += peers
    return result
