"""The docstrings, which are the manual: complete, and with examples that are true."""
import doctest
import inspect

import kelvane
import kelvane.bursts
import kelvane.pictures
import numpy as np
import pytest

FUNCTIONS = [name for name in kelvane.__all__ if inspect.isfunction(getattr(kelvane, name))]


@pytest.mark.parametrize("module", [kelvane.bursts, kelvane.pictures])
def test_examples(module):
    result = doctest.testmod(module, extraglobs={"np": np, "kelvane": kelvane})
    assert result.attempted > 0 and result.failed == 0


@pytest.mark.parametrize("name", FUNCTIONS)
def test_arguments_are_described(name):
    function = getattr(kelvane, name)
    text = inspect.getdoc(function)
    if "are those of `" in text:  # another function's
        return
    for argument in inspect.signature(function).parameters:
        assert any(argument in line.partition(" : ")[0].split(", ") for line in text.split("\n")), \
            f"{name} does not describe {argument}"
    assert "Returns\n-------" in text
