"""What the service tells of the machine: the list of its software, and the inventory that it sends by
itself."""
import re
import sqlite3
import subprocess
import unittest

import harness

DAY = 86_400  # seconds


def message_id(mail):
    return re.search(rb"(?im)^Message-ID: *\r?\n? *(\S+)", mail.content).group(1)


class SoftwareInventory(harness.EndToEnd):
    def test_the_shell_lists_what_the_package_manager_knows(self):
        known = subprocess.run(
            ["dpkg-query", "-W", "-f", "${Package} ${Version}\n", "sqlite3", "libsqlite3-0"],
            capture_output=True, text=True,
        ).stdout.splitlines()
        self.assertTrue(known)
        shown = self.shell(self.start_service(), "show callhome software-inventory").stdout
        for line in known:
            name, version = line.split()
            self.assertRegex(
                shown, rf"(?m)^Service Name : {re.escape(name)}(:\w+)?\nName : Version - Value : "
                       rf"{re.escape(version)}$")


class PeriodicInventory(harness.EndToEnd):
    def configured_service(self, server):
        service = self.start_service()
        self.configure(service, server.port, "destination-profile ops alert-group inventory",
                       "periodic-inventory notification")
        return service

    def let_days_pass(self, service, days):
        """While no service runs, as far as it can tell."""
        with sqlite3.connect(service.state / "callhome.db") as database:
            database.execute("UPDATE inventory_schedule SET armed_at = armed_at - ?", (days * DAY,))
        database.close()

    def test_one_that_fell_due_while_no_service_ran_is_sent_once(self):
        server = self.start_mail_server()
        service = self.configured_service(server)
        service.stop()
        self.let_days_pass(service, 2)
        service.start()
        server.wait(lambda s: len(s.mails) == 1)
        service.restart()
        self.shell(service, "callhome test")
        # A mail whose arrival the service had no time to record may come twice; it is the same message.
        inventories = {message_id(mail) for mail in server.mails if b"home: Inventory from" in mail.content}
        tests = {message_id(mail) for mail in server.mails if b"home: Test message from" in mail.content}
        self.assertEqual((len(inventories), len(tests)), (1, 1))

    def test_one_that_is_switched_off_is_not_sent(self):
        server = self.start_mail_server()
        service = self.configured_service(server)
        self.shell(service, "configure terminal", "callhome", "no periodic-inventory notification")
        service.stop()
        self.let_days_pass(service, 30)
        service.start()
        self.shell(service, "callhome test")
        self.assertEqual(len(server.mails), 1)


if __name__ == "__main__":
    unittest.main()
