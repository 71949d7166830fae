"""scripts/check-layers catches includes against the direction.

usage: check_layers_test.py SOURCE-DIRECTORY
"""

import pathlib
import sys
import unittest

from scratch_copy import append, run, scratch_copy

SOURCE = pathlib.Path(sys.argv.pop())
CHECK = SOURCE / "scripts" / "check-layers"


class CheckLayers(unittest.TestCase):
    def assert_caught(self, file, include):
        with scratch_copy(SOURCE) as root:
            line = len((root / file).read_text().splitlines()) + 1
            append(root / file, f"#include {include}\n")
            status, output = run(CHECK, root)
            self.assertEqual(status, 1, output)
            self.assertIn(f"{file}:{line}: includes ", output)
            self.assertIn(" 1 includes against the direction", output)

    def test_the_tree_as_it_is_passes(self):
        with scratch_copy(SOURCE) as root:
            status, output = run(CHECK, root)
            self.assertEqual(status, 0, output)

    def test_logging_must_not_include_the_client(self):
        self.assert_caught("logging/src/CSCLogging.cpp", "<clampcontrolclient/ClampControlClient.h>")

    def test_a_public_header_of_the_platform_must_not_include_the_framework(self):
        self.assert_caught("platform/access/include/zeb/Service.h", "<kelo-client/CallbackFuture.h>")

    def test_the_utility_library_must_not_include_service_access(self):
        self.assert_caught("platform/access-utility/src/json/JsonObject.cpp", "<zeb/Service.h>")

    def test_the_websocket_room_must_not_include_the_registry_room(self):
        self.assert_caught(
            "platform/access/src/websocket/WebsocketAddress.cpp", '"registry/ServiceEndpoint.h"'
        )

    def test_a_path_with_dots_hides_nothing(self):
        self.assert_caught(
            "platform/access/src/http/HttpAccess.cpp", '"../websocket/WebsocketAddress.h"'
        )

    def test_an_example_must_not_include_a_private_header(self):
        self.assert_caught("examples/first-client/main.cpp", '"CallbackGate.h"')

    def test_a_file_in_a_folder_that_no_layer_has_is_reported(self):
        with scratch_copy(SOURCE) as root:
            (root / "attic").mkdir()
            (root / "attic" / "New.cpp").write_text("int x;\n")
            status, output = run(CHECK, root)
            self.assertEqual(status, 1, output)
            self.assertIn("attic/New.cpp:1: in no known layer", output)

    def test_a_directory_without_a_file_fails(self):
        with scratch_copy(SOURCE) as root:
            (root / "empty").mkdir()
            status, output = run(CHECK, root / "empty")
            self.assertEqual(status, 1, output)
            self.assertIn("there is no C++ file to check", output)


if __name__ == "__main__":
    unittest.main()
