"""sbom.py ARCHIVE NOTICE [MAP]: checks the SBOM beside ARCHIVE against the archive, its NOTICE and the link map of its
program. Prints each difference and then the projects that the SBOM lists."""
import hashlib
import json
import re
import sys

archive, notice, *maps = sys.argv[1:]
sbom = json.load(open(archive + '.spdx.json'))
linked_map = ''.join(open(file).read() for file in maps)

# `own` matches this project's static libraries. `origins` must list every other static library that is linked.
own = re.compile(r'libqx[a-z_]*\.a')
origins = {
    'libjansson.a': 'jansson', 'libstdc++.a': 'libstdc++', 'libgcc.a': 'libgcc', 'libgcc_eh.a': 'libgcc',
    'libc_nonshared.a': 'glibc', 'libc.a': 'musl', 'libc++.a': 'libc++', 'libc++abi.a': 'libc++abi',
    'libunwind.a': 'libunwind', 'libcompiler_rt.a': 'compiler_rt',
}
linked = set()
for name in set(re.findall(r'/([^/\s()]+\.a)\(', linked_map)):
    if not own.fullmatch(name):
        linked.add(origins.get(name, 'unknown: ' + name))
# Start files belong to the C library or to the compiler.
for object_file, origin in (('crtbeginS?.o', 'libgcc'), ('Scrt1.o', 'glibc'), ('rcrt1.o', 'musl')):
    if re.search('/' + object_file, linked_map):
        linked.add(origin)
if '_ZN3fmt' in re.sub(r'\nDiscarded input sections\n.*\nMemory Configuration\n', '', linked_map, flags=re.S):
    linked.add('fmt')

packages = {package['SPDXID']: package for package in sbom['packages']}
main = packages.pop('SPDXRef-package')
assert main['packageFileName'] == archive.split('/')[-1], main
assert main['checksums'][0]['checksumValue'] == hashlib.sha256(open(archive, 'rb').read()).hexdigest(), main
related = {relation['relatedSpdxElement'] for relation in sbom['relationships'] if relation['relationshipType'] == 'STATIC_LINK'}
assert related == set(packages), related ^ set(packages)

names = {package['name'] for package in packages.values()}
if names - linked or linked - names:
    print('only in the SBOM:', names - linked, 'only linked:', linked - names)
text = open(notice).read()
for package in packages.values():
    head = f"{package['name']} {package['versionInfo']} ({package['licenseDeclared']})"
    if head not in text or not re.fullmatch(r'\d+(\.\d+)+', package['versionInfo']):
        print('not in NOTICE, or without a version:', head)
if 'had no copy of its text' in text:
    print('NOTICE lacks a licence text')
print(*sorted(names))
