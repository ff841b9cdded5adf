# The output of --json is as the published schemas say.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import copy
import json
import subprocess
import unittest

from onBoard import ROOT, OnBoard

SCHEMAS = ROOT / "docs/schema"
DOCUMENT, SAMPLE, RECORD = (f"halvexctl{kind}.schema.json" for kind in ("", "-sample", "-record"))


def complaints(schema, values):
    """The schema's violation of each value; empty for a valid value."""
    validator = subprocess.run([ROOT / "tests/tool/validate", SCHEMAS / schema], check=True, capture_output=True,
                               text=True, input="".join(json.dumps(value) + "\n" for value in values))
    return validator.stdout.splitlines()


class JsonSchema(OnBoard):
    def expect_valid(self, schema, *values):
        self.assertEqual(complaints(schema, values), [""] * len(values))

    def valid_results(self, *verbs, scenario="demo"):
        document = self.results(*verbs, scenario=scenario)
        self.expect_valid(DOCUMENT, document)
        return document

    def recorded(self, *verbs):
        self.on_board("--json", *verbs)
        objects = [json.loads(line) for line in self.record.read_text().splitlines()]
        self.expect_valid(RECORD, *objects)
        return objects

    def test_HoldsForEveryVerb(self):
        metadata = self.folder / "metadata.json"
        metadata.write_text('{"selectedTRInstID":"gm"}')
        seen = set()
        for line in ("info version name seeded get step +1.5ms freq -1250 freq limits drift 1s wait 1ms apply-metadata "
                     f"{metadata} clear remark here help get",
                     f"init monitor --once record {self.record} 1s report {self.folder}/page run finalize "
                     "expect-error -52010 get",
                     "explain all explain -52004 explain fileWrapper:20 explain fpgaEpochDevice:97",
                     "map doctor health"):
            seen |= {result["verb"] for result in self.valid_results(*line.split())}
        self.valid_results("explain", "enp1s0 is enabled.")
        # The verbs of the schema are those of the table: a test of the table compares them.
        verbs = json.loads((SCHEMAS / DOCUMENT).read_text())["definitions"]["result"]["anyOf"]
        self.assertEqual(seen, {verb["properties"]["verb"]["const"] for verb in verbs})

    def test_HoldsForFailuresAndWhatFollowsThem(self):
        no_ports = self.scenario('title = "no ports"\n')
        self.valid_results("get", "limits", scenario=no_ports)
        self.valid_results("map", "monitor", "--once", "doctor", "get", scenario=no_ports)
        self.valid_results("map", scenario="unusableInterfaces")

    def test_HoldsForAWrongLine(self):
        self.valid_results("get", "stpe")
        self.assertNotEqual(complaints(DOCUMENT, [{"usageError": 2}]), [""])

    def test_HoldsForEverySampleOfAWatch(self):
        self.on_board("--json", "init", "monitor", "--count", "2")
        *samples, results = map(json.loads, self.output.splitlines())
        self.assertEqual(len(samples), 2)
        self.expect_valid(SAMPLE, *samples)
        self.expect_valid(DOCUMENT, results)

    def test_HoldsForEveryLineOfARecord(self):
        objects = self.recorded("--yes", "record", self.record, "init", "wait", "97s", "step", "+1ms", "expect-error",
                                "get", "clear", "freq", "-100")
        self.assertEqual({line["kind"] for line in objects}, {"call", "end", "event", "log", "sample", "start", "verb"})
        self.assertNotIn("", complaints(RECORD, [{**line, "surprise": 1} for line in objects]))

    def test_HoldsForARecordOfAGivenLength(self):
        objects = self.recorded("init", "record", self.record, "2s")
        self.assertEqual([line["kind"] for line in objects].count("sample"), 3)

    def test_RejectsWhatIsNotPublished(self):
        document = self.valid_results("get", "map", "monitor", "--once")
        broken = [copy.deepcopy(document) for _ in range(5)]
        broken[0][0]["values"]["timeNs"] = "soon"
        broken[1][0]["values"]["surprise"] = 1
        del broken[2][1]["values"]["interfaces"][0]["reason"]
        broken[3][2]["values"]["last"]["clocks"][0]["boundNs"] = -1
        broken[4][0]["verb"] = "nonsense"
        self.assertNotIn("", complaints(DOCUMENT, broken))


if __name__ == "__main__":
    unittest.main()
