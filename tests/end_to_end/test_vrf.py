"""Messages through a VRF: two links lead to the same addresses, and what is bound to one goes there, with its
names looked up there too. A VRF is a device to what is bound to it; any other kind of device stands in for one here,
since not every kernel can make those."""
import os
import shutil
import subprocess
import sys
import unittest

import harness
import wire

HERE = harness.TREE / "tests/end_to_end"
OURS, NAME_SERVER, SERVER = "192.0.2.1", "192.0.2.53", "192.0.2.2"


def why_no_networks():
    if os.geteuid() != 0:
        return "only root can make networks"
    if shutil.which("ip") is None:
        return "iproute2 is not installed"
    made = subprocess.run(["unshare", "--net", "--mount", "ip", "link", "add", "x", "type", "veth", "peer", "name", "y"],
                          capture_output=True, check=False)
    return "" if made.returncode == 0 else "no networks can be made here"


class Network:
    """A network stack of its own, and mounts of its own."""

    def __init__(self):
        self.process = subprocess.Popen(["unshare", "--net", "--mount", "sh", "-c", "ip link set lo up; echo; exec cat"],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.process.stdout.readline()
        self.pid = str(self.process.pid)
        self.within = ("nsenter", "--net", "--mount", "--target", self.pid)

    def run(self, *command):
        subprocess.run([*self.within, *command], check=True)

    def close(self):
        self.process.stdin.close()
        self.process.wait(harness.LIMIT)
        self.process.stdout.close()


class OtherSide:
    """What the switch reaches through a device of this name."""

    def __init__(self, switch, device):
        self.network = Network()
        switch.run("ip", "link", "add", device, "type", "veth", "peer", "name", "far", "netns", self.network.pid)
        switch.run("ip", "address", "add", OURS + "/24", "dev", device)
        switch.run("ip", "link", "set", device, "up")
        for address in (NAME_SERVER, SERVER):
            self.network.run("ip", "address", "add", address + "/24", "dev", "far")
        self.network.run("ip", "link", "set", "far", "up")
        self.process = subprocess.Popen(
            [*self.network.within, sys.executable, "-B", HERE / "other_side.py", NAME_SERVER, SERVER],
            stdout=subprocess.PIPE, text=True)
        assert self.process.stdout.readline() == "ready\n"

    def taken(self):
        """All that it has taken until now, when it has ended."""
        self.process.kill()
        return self.process.communicate()[0].splitlines()

    def close(self):
        self.process.kill()
        self.process.wait(harness.LIMIT)
        self.process.stdout.close()
        self.network.close()


@unittest.skipIf(why_no_networks(), why_no_networks())
class Vrf(harness.EndToEnd):
    def setUp(self):
        super().setUp()
        self.switch = Network()
        self.addCleanup(self.switch.close)
        names = self.folder / "resolv.conf"
        names.write_text(f"nameserver {NAME_SERVER}\n")
        self.switch.run("mount", "--bind", names, "/etc/resolv.conf")
        # Whatever is not bound goes to the first of them.
        self.sides = {}
        for device in ("nearer", "blue"):
            self.sides[device] = OtherSide(self.switch, device)
            self.addCleanup(self.sides[device].close)

    def taken(self):
        return {device: sorted(side.taken()) for device, side in self.sides.items()}

    def set(self, service, opcode, record):
        with wire.Connection(service.socket, harness.LIMIT) as link:
            self.assertEqual(link.exchange(opcode, wire.SET, record)[0], wire.OK)

    def start(self, vrf):
        """Mail and posts go to hosts of one name, both through the VRF; without one, the usual way."""
        service = self.start_service(within=self.switch.within)
        self.configure(service, 25, "no transport email mail-server 127.0.0.1",
                       "transport email mail-server mail.example.net",
                       "destination-profile hub format XML", "destination-profile hub transport-method http",
                       "no destination-profile hub transport-method email",
                       "destination-profile hub http http://hub.example.net/in")
        if vrf:
            self.set(service, wire.MAIL_SERVER, wire.MAIL_SERVER_RECORD.pack(
                b"mail.example.net", wire.HOST_NAME, 25, 10, 1, 0, vrf.encode(), 0))
            self.set(service, wire.HTTP_VRF, wire.HTTP_VRF_RECORD.pack(vrf.encode(), 0))
        return service

    ALL = ["mail to ops@example.net", "post of /in"]

    def test_mail_and_posts_go_to_the_network_of_the_vrf_and_so_do_their_names(self):
        reply = self.shell(self.start("blue"), "callhome test").stdout
        self.assertEqual(self.taken(), {"nearer": [], "blue": self.ALL}, reply)

    def test_without_a_vrf_they_go_the_usual_way(self):
        reply = self.shell(self.start(""), "callhome test").stdout
        self.assertEqual(self.taken(), {"nearer": self.ALL, "blue": []}, reply)

    def test_nothing_goes_another_way_when_the_vrf_does_not_exist(self):
        reply = self.shell(self.start("green"), "callhome test", check=False).stdout
        self.assertEqual(self.taken(), {"nearer": [], "blue": []})
        self.assertEqual(reply.count("the VRF green does not exist"), 2, reply)


if __name__ == "__main__":
    unittest.main()
