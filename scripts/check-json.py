#!/usr/bin/env python3
"""Checks the JSON documents that layscan -json wrote into a folder.

    check-json.py SCHEMA FOLDER

Every FOLDER/*.json must validate against SCHEMA (JSON Schema draft 2020-12).
Where the text report of the same run lies beside it (same name, .txt), the
WARNING and ERROR lines of the text report and the warning texts of the
document must be equal as multisets (the consistency checks' findings, which
the document holds even when the report does not, left aside without -verify). The suite
writes one disk per run, except for one -all run, so run by run is disk by
disk. Prints each fault and exits 1 when there is any, or when the folder
holds no document.
"""
import collections
import json
import pathlib
import sys

import jsonschema


def finding_lines(text):
    return [line for line in text.split("\r\n") if line.startswith(("WARNING", "ERROR"))]


def main():
    schema = json.loads(pathlib.Path(sys.argv[1]).read_text(encoding="utf-8"))
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    faults = 0
    documents = sorted(pathlib.Path(sys.argv[2]).glob("*.json"))
    for path in documents:
        document = json.loads(path.read_bytes().decode("utf-8"))
        for error in sorted(validator.iter_errors(document), key=lambda e: list(e.absolute_path))[:5]:
            print(f"{path.name}: at /{'/'.join(map(str, error.absolute_path))}: {error.message[:300]}")
            faults += 1
        report = path.with_suffix(".txt")
        if not report.exists():
            continue
        # One run's lines against the document's; a run of one disk is a disk.
        text = report.read_bytes().decode("latin-1")
        in_text = collections.Counter(finding_lines(text))
        in_json = collections.Counter(w["text"] for d in document["disks"] for w in d["warnings"]
                                      if document["run"]["verify"] or not w["fromConsistencyChecks"])
        if in_text != in_json:
            faults += 1
            print(f"{path.name}: text and JSON disagree; only in the text: {dict(in_text - in_json)}; "
                  f"only in the JSON: {dict(in_json - in_text)}")
    print(f"{len(documents)} documents checked, {faults} faults")
    return 1 if faults or not documents else 0


if __name__ == "__main__":
    sys.exit(main())
