#!/usr/bin/env python3
"""Runs the runnable examples of the guides against an installed kit.

A fenced block whose info string is "sh runnable" runs in bash (-e, -u,
pipefail) with the kit's bin/ first on PATH and KEL_PREFIX naming the kit;
one marked "python runnable" is a script that the kit's kelhost runs. Each
block runs in a fresh temporary directory, and blocks of one guide share
nothing. Usage: check-docs.py KIT GUIDE.md...
"""
import os
import re
import subprocess
import sys
import tempfile

FENCE = re.compile(r'^```(\w+) runnable\s*\n(.*?)^```\s*$', re.M | re.S)


def blocks(path):
    with open(path, encoding='utf-8') as guide:
        text = guide.read()
    for match in FENCE.finditer(text):
        line = text.count('\n', 0, match.start()) + 1
        yield line, match.group(1), match.group(2)


def run(kit, kind, code, where):
    env = dict(os.environ, KEL_PREFIX=kit, PATH=os.path.join(kit, 'bin') + os.pathsep + os.environ['PATH'])
    if kind == 'sh':
        command = ['bash', '-euo', 'pipefail', '-c', code]
    elif kind == 'python':
        with open(os.path.join(where, 'example.py'), 'w', encoding='utf-8') as script:
            script.write(code)
        command = [os.path.join(kit, 'bin', 'kelhost'), 'run', 'example.py']
    else:
        raise SystemExit('unknown runnable block kind: ' + kind)
    return subprocess.run(command, cwd=where, env=env, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=300)


def main():
    kit, guides = os.path.abspath(sys.argv[1]), sys.argv[2:]
    failed = ran = 0
    for guide in guides:
        for line, kind, code in blocks(guide):
            with tempfile.TemporaryDirectory() as where:
                result = run(kit, kind, code, where)
            ran += 1
            if result.returncode != 0:
                failed += 1
                print('%s:%d: %s block failed (status %d):\n%s' % (guide, line, kind, result.returncode,
                                                                   result.stdout))
    print('%d runnable doc examples, %d failed' % (ran, failed))
    return 1 if failed or not ran else 0


if __name__ == '__main__':
    sys.exit(main())
