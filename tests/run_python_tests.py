"""run_python_tests.py DIRECTORY [--gtest_output=xml:FILE]: runs the tests in a directory. The report is written in the
form that GoogleTest writes."""

import sys
import unittest
import xml.etree.ElementTree as ElementTree

OPTION = "--gtest_output=xml:"


class Report(unittest.TextTestResult):
    """Keeps one element per test, with what failed in it."""

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.root = ElementTree.Element("testsuites")

    def startTest(self, test):
        super().startTest(test)
        name = test.id().split(".")
        self.case = ElementTree.SubElement(self.root, "testcase", classname=name[-2], name=name[-1], status="run")

    def addError(self, test, err):
        super().addError(test, err)
        self.keep(test, err)

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self.keep(test, err)

    def addSubTest(self, test, subtest, err):
        super().addSubTest(test, subtest, err)
        if err is not None:
            self.keep(subtest, err)

    def keep(self, test, err):
        ElementTree.SubElement(self.case, "failure", message=f"{test}\n{self._exc_info_to_string(err, test)}")


def main(arguments):
    suite = unittest.TestLoader().discover(arguments[0])
    result = unittest.TextTestRunner(resultclass=Report, verbosity=2).run(suite)
    for argument in arguments[1:]:
        if argument.startswith(OPTION):
            ElementTree.ElementTree(result.root).write(argument[len(OPTION):], encoding="utf-8")
    return 0 if result.wasSuccessful() and result.testsRun else 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
