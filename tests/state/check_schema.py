#!/usr/bin/python3
"""doc/state.schema.json and linnet agree on the state files of tests/state/cases:
the schema accepts every file linnet applies and rejects those listed in
schema-invalid.txt (the other refused files are valid documents the host cannot
carry out).   check_schema.py SCHEMA CASES"""
import json, pathlib, sys
import jsonschema, yaml

schema = json.loads(pathlib.Path(sys.argv[1]).read_text())
cases = pathlib.Path(sys.argv[2])
invalid = set((cases / "schema-invalid.txt").read_text().split())
checker = jsonschema.Draft202012Validator(schema, format_checker=jsonschema.FormatChecker())
failures = [f"{path.name}: schema {'accepts' if ok else 'rejects'} it"
            for path in sorted(cases.glob("*.yml"))
            for ok in [checker.is_valid(yaml.safe_load(path.read_text()))]
            if ok == (path.stem in invalid)]
print("\n".join(failures) or "the schema agrees with linnet on every case")
sys.exit(1 if failures else 0)
