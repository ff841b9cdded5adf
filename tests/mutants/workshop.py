# Builds changed libraries and test programs: compiles the affected objects and links them ahead of the archives.
# SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
import functools
import json
import os
import re
import shlex
import shutil
import subprocess
from pathlib import Path


class Workshop:
    """A separate build folder in which changed products replace the originals until restored."""

    def __init__(self, root, build):
        self.root, self.build = root, build
        self.scratch = build / "scratch"
        self.replaced = set()
        self.built = {}  # for the current change: product -> whether it was built
        self.change = None

    def prepare(self, targets):
        """Configures and builds the unchanged programs, slightly optimised and without debug information."""
        self.build.mkdir(parents=True, exist_ok=True)
        if not (self.build / "build.ninja").exists():
            launcher = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache", "-DCMAKE_C_COMPILER_LAUNCHER=ccache"]
            subprocess.run(["cmake", "-G", "Ninja", "-S", self.root, "-B", self.build, "-DCMAKE_BUILD_TYPE=Mutants",
                            "-DCMAKE_UNITY_BUILD=OFF", "-DCMAKE_CXX_FLAGS_MUTANTS=-O1", "-DCMAKE_C_FLAGS_MUTANTS=-O1"]
                           + (launcher if shutil.which("ccache") else []), check=True, stdout=subprocess.DEVNULL)
        subprocess.run(["cmake", "--build", self.build, "--target", *targets], check=True, stdout=subprocess.DEVNULL)
        shutil.rmtree(self.scratch, ignore_errors=True)
        self.read_commands()
        self.read_dependencies()

    def read_commands(self):
        self.compile = {}  # object -> (source, arguments)
        for entry in json.loads((self.build / "compile_commands.json").read_text()):
            arguments = [a for a in shlex.split(entry["command"]) if not a.endswith("ccache")]
            made = arguments[arguments.index("-o") + 1]
            self.compile[made] = (str(Path(entry["file"]).relative_to(self.root)), arguments)
        self.arguments_by_path = {source: arguments for source, arguments in self.compile.values()}

    def read_dependencies(self):
        """Maps the tree's files to the objects that include them."""
        self.users = {}
        made = None
        for line in subprocess.run(["ninja", "-C", self.build, "-t", "deps"], check=True, capture_output=True,
                                   text=True).stdout.splitlines():
            if line and not line.startswith(" "):
                made = line.split(":")[0]
            elif line.strip().startswith(str(self.root) + "/"):
                self.users.setdefault(str(Path(line.strip()).relative_to(self.root)), set()).add(made)

    @functools.cache
    def link_of(self, product):
        lines = subprocess.run(["ninja", "-C", self.build, "-t", "commands", product], check=True, capture_output=True,
                               text=True).stdout.splitlines()
        return tuple(shlex.split(re.sub(r"^: && | && :$", "", lines[-1])))

    def begin(self, change, source):
        """Writes the changed file where the compiler finds it first."""
        self.change, self.built = change, {}
        shutil.rmtree(self.scratch, ignore_errors=True)
        file = self.scratch / "tree" / change.path
        file.parent.mkdir(parents=True)
        file.write_bytes(change.applied(source))

    def compile_object(self, made):
        """Recompiles one object with the changed file."""
        source, arguments = self.compile[made]
        original = source == self.change.path
        target = self.scratch / "objects" / made
        target.parent.mkdir(parents=True, exist_ok=True)
        command = [a for a in arguments if not a.startswith("-W")]
        command[command.index("-o") + 1] = str(target)
        command[command.index("-c") + 1] = str((self.scratch / "tree" if original else self.root) / source)
        launcher = ["ccache"] if shutil.which("ccache") else []
        done = subprocess.run([*launcher, command[0], f"-I{self.scratch / 'tree'}", "-w", *command[1:]], cwd=self.build,
                              capture_output=True, text=True, env={**os.environ, "CCACHE_SLOPPINESS": "pch_defines,time_macros"})
        return done.returncode == 0

    def objects_for(self, link):
        """The affected objects of a link command: named in it, or in its archives."""
        archives = {Path(argument).stem[3:] for argument in link if argument.endswith(".a")}
        for made in sorted(self.users.get(self.change.path, ())):
            owner = re.search(r"CMakeFiles/([^/]+)\.dir/", made).group(1)
            if made in link or owner in archives:
                yield made

    def make(self, product):
        """Installs the changed product. Returns None if it is unaffected, else whether it could be built."""
        if product not in self.built:
            self.built[product] = self.make_anew(product)
        return self.built[product]

    def make_anew(self, product):
        link = list(self.link_of(product))
        touched = list(self.objects_for(link))
        if not touched:
            return None
        for made in touched:
            if made not in self.built:
                self.built[made] = self.compile_object(made)
            if not self.built[made]:
                return False
        first = min(i for i, argument in enumerate(link) if argument.endswith(".o"))
        mine = [str(self.scratch / "objects" / made) for made in touched]
        link = link[:first] + mine + [argument for argument in link[first:] if argument not in touched]
        out = link.index("-o") + 1
        target = self.build / link[out]
        link[out] = str(self.scratch / "linked")
        if shutil.which("mold"):
            link.insert(1, "-fuse-ld=mold")
        if subprocess.run(link, cwd=self.build, capture_output=True).returncode != 0:
            return False
        kept = self.build / "unchanged" / target.relative_to(self.build)
        if not kept.exists():
            kept.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(target, kept)
        self.replaced.add(target)
        os.replace(self.scratch / "linked", target)
        return True

    def put_all_back(self):
        """Removes leftovers of an interrupted run."""
        unchanged = self.build / "unchanged"
        self.replaced = {self.build / kept.relative_to(unchanged) for kept in unchanged.rglob("*") if kept.is_file()}
        self.put_back()
        shutil.rmtree(unchanged, ignore_errors=True)

    def put_back(self):
        for target in self.replaced:
            kept = self.build / "unchanged" / target.relative_to(self.build)
            temporary = target.with_name(target.name + ".kept")
            shutil.copy2(kept, temporary)
            os.replace(temporary, target)
        self.replaced.clear()
