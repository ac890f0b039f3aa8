"""Holds the replies of the development host against the description of its API."""

import os
import re

import jsonschema
import yaml

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PREFIX = "/api/v1"


class ApiDescription:
    def __init__(self):
        with open(os.path.join(ROOT, "docs", "devhost-api.yaml"), encoding="utf-8") as file:
            self._document = yaml.safe_load(file)
        self._paths = [(re.compile(re.sub(r"\{\w+\}", "[^/]+", path)), operations)
                       for path, operations in self._document["paths"].items()]

    def check(self, method, path, status, reply):
        """Raises AssertionError when a reply of a route below the API's prefix is not what is described."""
        address = PREFIX + path.partition("?")[0]
        where = f"{method} {address}: {status}"
        operations = next((known for pattern, known in self._paths if pattern.fullmatch(address)), None)
        if not operations or method.lower() not in operations:
            assert status in (404, 405), f"{where} is not described"
            return
        responses = operations[method.lower()]["responses"]
        response = responses.get(str(status)) or responses.get(f"{status // 100}XX")
        assert response, f"{where} is not described"
        if "$ref" in response:
            response = self._document["components"]["responses"][response["$ref"].rpartition("/")[2]]
        schema = {**response["content"]["application/json"]["schema"],
                  "components": self._document["components"]}
        try:
            jsonschema.Draft202012Validator(schema).validate(reply)
        except jsonschema.ValidationError as error:
            raise AssertionError(f"{where}: {error.message} at {error.json_path}") from error
