import numpy as np
import pytest

from families import FAMILIES


@pytest.fixture(params=FAMILIES, ids=lambda family: family.c_name)
def family(request):
    return request.param


@pytest.fixture
def rng():
    return np.random.default_rng(1)


@pytest.fixture
def signals(rng):
    """Input and desired signal of 360 samples: a multiple of the tests' block length."""
    x = rng.standard_normal(360)
    return x, np.convolve(x, [0.5, -0.3, 0.2])[:360] + 0.1 * rng.standard_normal(360)
