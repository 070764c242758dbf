#!/usr/bin/env python3
"""Checks the JSON that `zo-kel decode --json` writes for every sample against the installed
schema, and that the schema refuses documents the tool refuses.
usage: check_json_schema.py SCHEMA ZO_KEL SAMPLES_DIR"""
import glob
import json
import os
import subprocess
import sys

import jsonschema

schema_path, tool, samples = sys.argv[1:4]
with open(schema_path) as f:
    schema = json.load(f)
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
failures = 0


def check(name, args, want_valid=True, text=None):
    global failures
    document = text if text is not None else subprocess.run(
        [tool, "decode", "--json"] + args, check=True, capture_output=True).stdout
    errors = list(validator.iter_errors(json.loads(document)))
    if bool(errors) == want_valid:
        failures += 1
        print(f"{name}: {'refused' if errors else 'accepted'}: {errors[:1]}")


forms = {".full.": ["--full"], ".sized.": ["--sized"], ".packet.": ["--flexdata"]}
for path in sorted(glob.glob(os.path.join(samples, "*.bin"))):
    if ".tgd" in path:
        continue
    form = next((v for k, v in forms.items() if k in path), [])
    check(os.path.basename(path), form + [path])
check("TG pair", ["--tgvariant", os.path.join(samples, "reading.tgdesc.bin"),
                  os.path.join(samples, "reading.tgdata.bin")])
for bad in ['{"form": "compact", "value": {"kind": "numeric"}}',
            '{"form": "compact", "value": {"kind": "ansi", "text": "a", "hex": "61"}}',
            '{"form": "sized", "records": [{"value": 1, "extra": "XY"}]}',
            '{"form": "compact", "value": {"kind": "abstime", "time": "yesterday"}}']:
    check(bad, [], want_valid=False, text=bad)
sys.exit(1 if failures else 0)
