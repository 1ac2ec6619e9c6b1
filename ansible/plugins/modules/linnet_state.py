#!/usr/bin/python
# -*- coding: utf-8 -*-

from __future__ import absolute_import, division, print_function

__metaclass__ = type

DOCUMENTATION = r"""
---
module: linnet_state
short_description: Bring a host's wired network to a desired state with linnet
version_added: 1.0.0
description:
  - Hands a desired network state, in nmstate's format, to C(linnet apply).
    linnet works out the steps that take the host from its present state to
    the desired one, carries them out on the live host and in the ifcfg files,
    verifies the result and, when a step fails, rolls back every step already
    taken.
  - In check mode linnet only plans (C(linnet apply --dry-run)); nothing on the
    host changes. With C(--diff) the files that would change are shown.
options:
  desired_state:
    description:
      - The desired state, with the C(interfaces), C(routes) and
        C(dns-resolver) sections of nmstate's format (what C(linnet state)
        prints).
      - A dictionary, or a string that holds the state as YAML or JSON.
    type: raw
    required: true
  linnet:
    description:
      - The linnet program to run, a path or a name looked up in C(PATH) and
        the usual sbin directories.
    type: path
    default: linnet
attributes:
  check_mode:
    support: full
  diff_mode:
    support: full
  platform:
    platforms: posix
requirements:
  - linnet (libmxlinnet's command-line program) on the managed host.
notes:
  - Changing the network needs root on the managed host (C(become)).
  - A string is converted to JSON with PyYAML when the managed host has it;
    otherwise it is handed to linnet as it is, and linnet reads it as YAML.
author:
  - libmxlinnet developers (!UNKNOWN)
"""

EXAMPLES = r"""
- name: Jumbo frames and a second address on eth2
  mxlinnet.linnet.linnet_state:
    desired_state:
      interfaces:
        - name: eth2
          type: ethernet
          state: up
          mtu: 9000
          ipv4:
            enabled: true
            address:
              - ip: 198.18.2.10
                prefix-length: 24
              - ip: 198.18.2.60
                prefix-length: 24
  become: true

- name: A state kept in a file next to the playbook
  mxlinnet.linnet.linnet_state:
    desired_state: "{{ lookup('ansible.builtin.file', 'network.yml') }}"
    linnet: /usr/bin/linnet
  become: true

- name: What would change, without changing it
  mxlinnet.linnet.linnet_state:
    desired_state: "{{ network_state }}"
  check_mode: true
  diff: true
  register: network_plan
"""

RETURN = r"""
result:
  description:
    - What linnet did, C(unchanged) (the host already was in the desired
      state), C(applied), C(planned) (check mode), C(rolled back) (a step
      failed and the steps before it were undone), C(invalid) (linnet
      refused the state document) or C(refused) (the host could not be read,
      or a change made with C(linnet apply --no-commit) is still
      uncommitted).
  returned: always
  type: str
  sample: applied
plan:
  description: The steps linnet planned, in the order it takes them.
  returned: always
  type: list
  elements: str
  sample: ["eth2: set MTU 9000", "eth2: add alias 198.18.2.60/24"]
diff:
  description:
    - One entry per configuration file that changed (or, in check mode, would
      change), with its content before and after.
  returned: in diff mode
  type: list
  elements: dict
  contains:
    before_header:
      description: The file's path.
      type: str
    after_header:
      description: The file's path.
      type: str
    before:
      description: The file's content before the change.
      type: str
    after:
      description: The file's content after the change.
      type: str
status:
  description: linnet's status code; 0 on success.
  returned: always
  type: int
  sample: 0
failed_step:
  description:
    - The step that failed, when one did. In check mode, the step at which
      linnet's dry run stopped (a warning says so too); applying the state
      would fail there.
  returned: when a step failed
  type: str
  sample: "eth1.5: create VLAN 5 on eth1"
rollback_problems:
  description:
    - What the rollback after a failed step could not put back, one line
      each; the host is then neither as it was nor as desired.
  returned: when the rollback was incomplete
  type: list
  elements: str
stderr:
  description: linnet's progress lines.
  returned: on failure
  type: str
"""

import json
from collections.abc import Mapping

from ansible.module_utils.basic import AnsibleModule
from ansible.module_utils.common.yaml import HAS_YAML, yaml_load


def state_from_text(text):
    """The state held in a string: JSON, else YAML read with PyYAML, else the text itself."""
    try:
        return json.loads(text)
    except ValueError:
        pass
    if HAS_YAML:
        try:
            return yaml_load(text)
        except Exception:  # pylint: disable=broad-except
            pass  # linnet reads the text itself and names the line that is wrong
    return text


def state_document(module, desired_state):
    """The text handed to linnet on its standard input."""
    if isinstance(desired_state, str):
        desired_state = state_from_text(desired_state)
        if isinstance(desired_state, str):
            return desired_state
    if not isinstance(desired_state, Mapping):
        module.fail_json(
            msg="desired_state must be a mapping of nmstate sections "
            "(interfaces, routes, dns-resolver), not %s" % type(desired_state).__name__
        )
    return json.dumps(desired_state, default=str)


def linnet_program(module):
    name = module.params["linnet"]
    if "/" in name:
        return name
    return module.get_bin_path(name, required=True)


def run_apply(module, document):
    """linnet's JSON report, its exit status and its progress lines."""
    command = [linnet_program(module), "--json", "apply", "-"]
    if module.check_mode:
        command.append("--dry-run")
    rc, out, err = module.run_command(command, data=document)
    try:
        report = json.loads(out)
    except ValueError:
        report = None
    if not isinstance(report, dict):
        module.fail_json(
            msg="linnet apply printed no JSON report (exit status %d): %s"
            % (rc, err.strip() or out.strip()),
            rc=rc,
            stdout=out,
            stderr=err,
        )
    return report, rc, err


def failure_message(report, rc, err):
    message = report.get("error") or err.strip() or "linnet apply failed with status %d" % rc
    step = report.get("failed_step")
    if step and step not in message:
        message += " (failed step: %s)" % step
    if report.get("rollback_problems"):
        message += "; rollback incomplete: %s" % "; ".join(report["rollback_problems"])
    return message


def file_diffs(report):
    return [
        {
            "before_header": entry.get("path", ""),
            "after_header": entry.get("path", ""),
            "before": entry.get("before", ""),
            "after": entry.get("after", ""),
        }
        for entry in report.get("diff") or []
    ]


def main():
    module = AnsibleModule(
        argument_spec=dict(
            desired_state=dict(type="raw", required=True),
            linnet=dict(type="path", default="linnet"),
        ),
        supports_check_mode=True,
    )
    report, rc, err = run_apply(module, state_document(module, module.params["desired_state"]))
    outcome = dict(
        changed=bool(report.get("changed", False)),
        result=report.get("result", ""),
        plan=report.get("plan") or [],
        status=report.get("status", rc),
    )
    if module._diff:
        outcome["diff"] = file_diffs(report)
    if report.get("failed_step"):
        outcome["failed_step"] = report["failed_step"]
    if rc != 0:
        if report.get("rollback_problems"):
            outcome["rollback_problems"] = report["rollback_problems"]
        module.fail_json(msg=failure_message(report, rc, err), rc=rc, stderr=err, **outcome)
    if outcome.get("failed_step"):
        module.warn(
            "the dry run stopped at the step '%s': applying this state would fail there and be rolled back"
            % outcome["failed_step"]
        )
    if report.get("preview", "").startswith("unavailable"):
        module.warn("the dry run shows no file changes: its preview is %s" % report["preview"])
    module.exit_json(**outcome)


if __name__ == "__main__":
    main()
