#!/usr/bin/env python3
"""usage: metrics_test.py FOLDER_OF_PROGRAMS

The numbers of the live page, as Prometheus's own parser reads them."""
import sys
import tempfile
import unittest

from prometheus_client.parser import text_string_to_metric_families

from pagetest import Bus, Client

HOSTILE = 'a"b\\c\nd}{ 1\u2028'


class Metrics(unittest.TestCase):
    def setUp(self):
        self.bus = Bus(tempfile.mkdtemp())
        self.addCleanup(self.bus.end)

    def families(self):
        return {family.name: family for family in text_string_to_metric_families(self.bus.get("metrics"))}

    def test_names_types_and_helps(self):
        families = self.families()
        self.assertGreater(len(families), 12)
        for name, family in families.items():
            self.assertRegex(name, r"^tarvex_bus_[a-z_]+$")
            self.assertIn(family.type, ("counter", "gauge", "histogram"), name)
            self.assertTrue(family.documentation.endswith("."), name)
            for sample in family.samples:
                self.assertGreaterEqual(sample.value, 0)
                if family.type == "counter":
                    self.assertTrue(sample.name.endswith("_total"), sample.name)

    def test_no_line_comes_twice(self):
        client = Client("cashbox")
        client.command("absent", "wake", {})
        client.close()
        lines = [line.rsplit(" ", 1)[0] for line in self.bus.get("metrics").splitlines() if not line.startswith("# ")]
        self.assertEqual(len(lines), len(set(lines)))

    def test_hostile_name_is_one_label(self):
        client = Client("cashbox")
        client.command(HOSTILE, "wake", {})
        client.close()
        samples = self.families()["tarvex_bus_waiting_messages"].samples
        self.assertEqual([(sample.labels, sample.value) for sample in samples if sample.value > 0],
                         [({"client": HOSTILE}, 1)])

    def test_counters_follow_the_frames(self):
        client = Client("cashbox")
        for _ in range(3):
            client.ask("loadState", {"owner": "nobody"})
        client.close()
        counts = {(sample.labels["kind"], sample.labels["operation"], sample.labels["code"]): sample.value
                  for sample in self.families()["tarvex_bus_frames"].samples}
        self.assertEqual(counts[("request", "loadState", "")], 3)
        self.assertEqual(counts[("reply", "loadState", "5")], 3)
        times = self.families()["tarvex_bus_exchange_seconds"].samples
        buckets = [sample.value for sample in times
                   if sample.name.endswith("_bucket") and sample.labels["port"] == "query"]
        self.assertEqual(buckets, sorted(buckets))
        self.assertEqual(buckets[-1], 4)  # with the handshake


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
