"""Displays as JSON and XML: each is a whole document that its schema describes."""
import json
import re
import subprocess
import unittest

import jsonschema

import harness

SCHEMAS = harness.TREE / "docs/schemas"
# What a display asks for behind the words that its schema is named after; the others stand alone.
ARGUMENTS = {
    "show callhome destination-profile": ["", " full_txt", " short_txt", " ops", " nobody"],
    "show callhome information": [" version", " licences"],
    "show callhome message": [" 1"],
    "show diagnostic-signature callhome description": [" 1"],
    "show diagnostic-signature callhome statistics": ["", " run-time"],
    "show callhome messages": ["", " last 1"],
    "callhome preview": [" test", " inventory profile ops", " test profile nobody"],
}
# Where something is asked for between the words.
COMMANDS = {
    "show callhome destination-profile statistics": [
        f"show callhome destination-profile {name} statistics" for name in ("full_txt", "ops", "nobody")],
}


def displays():
    """The words of each display with its schemas, JSON and XML."""
    for path in sorted((*SCHEMAS.glob("show-*.json"), *SCHEMAS.glob("callhome-*.json"))):
        schema = json.loads(path.read_text())
        whole = [schema["title"] + arguments for arguments in ARGUMENTS.get(schema["title"], [""])]
        for command in COMMANDS.get(schema["title"], whole):
            yield command, schema, path.with_suffix(".xsd")


class StructuredOutput(harness.EndToEnd):
    def assert_document(self, text, schema):
        document = json.loads(text)
        jsonschema.Draft202012Validator(schema).validate(document)
        return document

    def assert_xml(self, text, schema, command):
        done = subprocess.run(["xmllint", "--noout", "--schema", schema, "-"], input=text, capture_output=True,
                              text=True, timeout=harness.LIMIT)
        self.assertEqual(done.returncode, 0, f"{command}:\n{text}\n{done.stderr}")

    def configured(self):
        """A service with something in every display."""
        server = self.start_mail_server(
            RCPT=lambda address: "450 later" if address == "slow@example.net" else "250 2.1.5 ok")
        service = self.start_service()
        self.configure(service, server.port, 'streetaddress <Street> & "Co" ]]> Zürich',
                       "destination-profile ops email-addr slow@example.net",
                       "destination-profile ops alert-group test",
                       "transport email reply-to help@example.net",
                       "transport email smtp-server mx.example.net port 2525")
        self.shell(service, "callhome test", check=False)
        return service

    def test_the_schemas_are_schemas(self):
        for _, schema, xml_schema in displays():
            jsonschema.Draft202012Validator.check_schema(schema)
            self.assertTrue(xml_schema.exists())

    def test_every_display_is_what_its_schema_says(self):
        for service in (self.start_service(name="empty"), self.configured()):
            for command, schema, xml_schema in displays():
                with self.subTest(command):
                    done = self.shell(service, f"{command} | json", check=False)
                    document = self.assert_document(done.stdout, schema)
                    self.assertEqual(done.returncode != 0, "errors" in document or "failed" in done.stderr.lower())
                    self.assert_xml(self.shell(service, f"{command} | xml", check=False).stdout, xml_schema, command)

    def test_a_lost_service_leaves_a_whole_document(self):
        service = self.start_service()
        service.stop()
        for command, schema, xml_schema in displays():
            with self.subTest(command):
                done = self.shell(service, f"{command} | json", check=False)
                self.assert_document(done.stdout, schema)
                self.assert_xml(self.shell(service, f"{command} | xml", check=False).stdout, xml_schema, command)
        done = self.shell(service, "show callhome transport-email | json | count", check=False)
        self.assertEqual((done.stdout, done.returncode), ("5\n", 1))

    def test_values_have_their_types(self):
        service = self.configured()
        done = self.shell(service, "show callhome messages", "show callhome queue", "show callhome transport-email",
                          options=["--output=json"])
        documents = [json.loads(text) for text in re.split(r"(?<=^\})\n", done.stdout, flags=re.MULTILINE) if text]
        message, = documents[0]["messages"]
        self.assertEqual((message["id"], message["delivered"], message["waiting"]), (1, 1, 1))
        self.assertRegex(message["recorded_at"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$")
        waiting, = documents[1]["deliveries"]
        self.assertEqual((waiting["message"], waiting["receiver"]), (1, "slow@example.net"))
        self.assertEqual(documents[2], {
            "from": "switch@example.net", "reply_to": "help@example.net", "smtp_server": "mx.example.net",
            "smtp_server_port": 2525})

    def test_every_profile_has_the_same_members_in_every_display(self):
        service = self.configured()

        def profiles(words):
            done = self.shell(service, f"show callhome destination-profile {words} | json")
            document = json.loads(done.stdout)
            self.assertEqual(list(document), ["destination_profiles"])
            return document["destination_profiles"]

        listed = {profile["name"]: profile for profile in profiles("")}
        self.assertEqual(sorted(listed), ["ZUVA-profile", "full_txt", "ops", "short_txt"])
        self.assertEqual(listed["ops"], {
            "name": "ops", "maximum_message_size": 2500000, "message_format": "full-txt", "message_level": 0,
            "transport_methods": ["email"], "email_addresses": ["ops@example.net", "slow@example.net"],
            "url_addresses": [], "alert_groups": ["test"]})
        self.assertEqual(profiles("ops"), [listed["ops"]])
        for name in ("full_txt", "short_txt", "ZUVA-profile"):
            del listed[name]["message_format"]  # its own display leaves it out
            self.assertEqual(profiles(name), [listed[name]])

    def test_the_summary_has_every_setting(self):
        document = json.loads(self.shell(self.configured(), "show callhome | json").stdout)
        self.assertEqual(document["contact"]["street_address"], '<Street> & "Co" ]]> Zürich')
        self.assertEqual(document["contact"]["switch_priority"], 7)
        self.assertEqual(document["periodic_inventory"],
                         {"enabled": False, "period_days": 7, "time_of_day": "08:00"})
        self.assertEqual(list(document), ["enabled", "contact", "duplicate_message_throttling",
                                          "periodic_inventory", "distribution", "data_privacy"])

    def test_the_running_configuration_is_its_lines(self):
        lines = json.loads(self.shell(self.configured(), "show running-config | json").stdout)["configuration"]
        self.assertIn("destination-profile ops email-addr slow@example.net", lines)
        self.assertNotIn("", lines)

    def test_only_displays_become_documents(self):
        service = self.start_service()
        done = self.shell(service, "callhome test inventory", "show version", options=["--output", "xml"],
                          check=False)
        self.assertFalse(done.stdout.startswith("<"), done.stdout)
        self.assertIn("is a form of displays", self.shell(service, "callhome test | json", check=False).stderr)

    def test_other_filters_see_the_lines_of_the_document(self):
        service = self.configured()
        done = self.shell(service, "show callhome transport-email | json | include port")
        self.assertEqual(done.stdout, '  "smtp_server_port": 2525\n')
        self.assertEqual(self.shell(service, "show hostname | xml | count").stdout, "4\n")

    def test_a_form_after_the_command_goes_before_the_option(self):
        service = self.configured()
        for options in ([], ["--output", "text"]):
            done = self.shell(service, "show callhome transport-email", options=options)
            self.assertIn("smtp server port::2525\n", done.stdout)
        done = self.shell(service, "show callhome transport-email | json", options=["--output", "xml"])
        json.loads(done.stdout)
        done = self.shell(service, "show version", options=["--output", "yaml"], check=False)
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertIn('--output is text, json or xml, not "yaml"', done.stderr)


if __name__ == "__main__":
    unittest.main()
