"""Command line of the package: ``python3 -m qor COMMAND ...`` (``--help`` for the commands)."""

import sys

COMMANDS = {
    # name: (module, function taking argv and returning the exit status, one-line help)
    "annotate": ("qor.io", "annotateMain", "add meridional coordinates to a CFD mesh file"),
    "average": ("qor.post", "averageMain", "circumferential averages of an annotated mesh file"),
}


def main(argv=None):
    argv = sys.argv[1:] if argv is None else argv
    if not argv or argv[0] in ("-h", "--help") or argv[0] not in COMMANDS:
        out = sys.stdout if argv and argv[0] in ("-h", "--help") else sys.stderr
        print("usage: python3 -m qor COMMAND [options]   (COMMAND --help for its options)\n", file=out)
        for name, (_, _, text) in COMMANDS.items():
            print(f"  {name:<10} {text}", file=out)
        if argv and argv[0] not in ("-h", "--help"):
            print(f"\nunknown command: {argv[0]}", file=out)
        return 0 if out is sys.stdout else 2
    module, function, _ = COMMANDS[argv[0]]
    import importlib
    return getattr(importlib.import_module(module), function)(argv[1:])


if __name__ == "__main__":
    sys.exit(main())
